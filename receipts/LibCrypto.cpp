#include "receipts/LibCrypto.h"

#include <dlfcn.h>

#include "platform/toolkit/Exceptions.h"

namespace CertTools {

LibCrypto::LibCrypto(std::string libraryPath) : path_(std::move(libraryPath)) {}

LibCrypto::~LibCrypto() {
  if (void* h = handle_.load()) dlclose(h);
}

LibCrypto& LibCrypto::System() {
  // Never destroyed: objects that libcrypto handed out may outlive static destruction.
  static LibCrypto* const system = new LibCrypto("libcrypto.so.3");
  return *system;
}

// `name` is the function that needed the library, for the report when it can't be opened.
void* LibCrypto::Handle(const char* name) const {
  if (void* h = handle_.load(std::memory_order_acquire)) return h;
  void* h = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (h == nullptr) throw toolkit::FunctionNotFoundException(name, path_);
  void* expected = nullptr;
  if (!handle_.compare_exchange_strong(expected, h, std::memory_order_acq_rel)) {
    dlclose(h);  // another caller got there first; dlopen counts, so this only drops ours
    return expected;
  }
  return h;
}

namespace {
// Its address stands in a slot for a name that the open library doesn't export; no function has
// that address.
char absent;
void* const kAbsentMark = &absent;
}  // namespace

void* LibCrypto::Lookup(std::size_t slot, const char* name) const {
  if (void* p = resolved_[slot].load(std::memory_order_acquire))
    return p == kAbsentMark ? nullptr : p;
  // A library once open stays open and its exports don't change, so a name that it lacks is
  // remembered too: a failed dlsym searches every table of the library at each call.
  void* p = dlsym(Handle(name), name);
  resolved_[slot].store(p != nullptr ? p : kAbsentMark, std::memory_order_release);
  return p;
}

void* LibCrypto::Resolve(std::size_t slot, const char* name) const {
  void* p = Lookup(slot, name);
  if (p == nullptr) throw toolkit::FunctionNotFoundException(name, path_);
  return p;
}

}  // namespace CertTools
