#pragma once

#include <array>
#include <atomic>
#include <string>

namespace CertTools {

// The functions of libcrypto that the reader uses, bound at run time by name, so that the
// program starts without the library and a missing library or function is reported as
// FunctionNotFoundException with the function's name and the library's path.
//
// The library is opened at the first lookup and kept open; resolved addresses are kept. A
// library that can't be opened is tried again at the next lookup.
class LibCrypto {
 public:
  enum Function : int {
    ERR_load_PKCS7_strings,
    ERR_load_X509_strings,
    OpenSSL_add_all_digests,
    d2i_PKCS7_fp,
    OBJ_obj2nid,
    PKCS7_free,
    ASN1_get_object,
    ASN1_STRING_get0_data,
    ASN1_STRING_length,
    kFunctionCount
  };

  explicit LibCrypto(std::string libraryPath);
  ~LibCrypto();
  LibCrypto(const LibCrypto&) = delete;
  LibCrypto& operator=(const LibCrypto&) = delete;

  // Debian's OpenSSL 3, by its soname.
  static LibCrypto& System();

  const std::string& LibraryPath() const { return path_; }

  // The address of `f`. Raises FunctionNotFoundException when the library or the name
  // can't be found.
  void* Resolve(Function f) const;
  // The address of `f`, or nullptr when the library is there but lacks the name (OpenSSL 3
  // turned some old initialisation functions into macros). Raises FunctionNotFoundException
  // only when the library itself can't be opened.
  void* ResolveIfExported(Function f) const;

  template <class Fn>
  Fn* Get(Function f) const {
    return reinterpret_cast<Fn*>(Resolve(f));
  }

 private:
  void* Handle(Function f) const;
  void* Lookup(Function f) const;

  std::string path_;
  mutable std::atomic<void*> handle_{nullptr};
  mutable std::array<std::atomic<void*>, kFunctionCount> resolved_{};
};

// The name by which `f` is exported.
const char* FunctionName(LibCrypto::Function f);

}  // namespace CertTools
