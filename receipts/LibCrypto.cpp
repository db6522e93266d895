#include "receipts/LibCrypto.h"

#include <dlfcn.h>

#include "platform/toolkit/Exceptions.h"

namespace CertTools {

namespace {
constexpr std::array<const char*, LibCrypto::kFunctionCount> kNames = {
    "ERR_load_PKCS7_strings", "ERR_load_X509_strings", "OpenSSL_add_all_digests",
    "d2i_PKCS7_fp",           "OBJ_obj2nid",           "PKCS7_free",
    "ASN1_get_object",        "ASN1_STRING_get0_data", "ASN1_STRING_length",
};
}  // namespace

const char* FunctionName(LibCrypto::Function f) {
  return kNames[f];
}

LibCrypto::LibCrypto(std::string libraryPath) : path_(std::move(libraryPath)) {}

LibCrypto::~LibCrypto() {
  if (void* h = handle_.load()) dlclose(h);
}

LibCrypto& LibCrypto::System() {
  // Never destroyed: objects that libcrypto handed out may outlive static destruction.
  static LibCrypto* const system = new LibCrypto("libcrypto.so.3");
  return *system;
}

void* LibCrypto::Handle(Function f) const {
  if (void* h = handle_.load(std::memory_order_acquire)) return h;
  void* h = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (h == nullptr) throw toolkit::FunctionNotFoundException(FunctionName(f), path_);
  void* expected = nullptr;
  if (!handle_.compare_exchange_strong(expected, h, std::memory_order_acq_rel)) {
    dlclose(h);  // another caller got there first; dlopen counts, so this only drops ours
    return expected;
  }
  return h;
}

void* LibCrypto::Lookup(Function f) const {
  if (void* p = resolved_[f].load(std::memory_order_acquire)) return p;
  void* p = dlsym(Handle(f), FunctionName(f));
  if (p != nullptr) resolved_[f].store(p, std::memory_order_release);
  return p;
}

void* LibCrypto::Resolve(Function f) const {
  void* p = Lookup(f);
  if (p == nullptr) throw toolkit::FunctionNotFoundException(FunctionName(f), path_);
  return p;
}

void* LibCrypto::ResolveIfExported(Function f) const {
  return Lookup(f);
}

}  // namespace CertTools
