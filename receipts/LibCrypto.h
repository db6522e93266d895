#pragma once

#include <openssl/asn1.h>
#include <openssl/crypto.h>
#include <openssl/objects.h>
#include <openssl/pkcs7.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <string>
#include <type_traits>

namespace CertTools {

// The functions of libcrypto that the reader uses, bound at run time by name, so that the
// program starts without the library and a missing library or function is reported as
// FunctionNotFoundException with the function's name and the library's path.
//
// Each function has a tag, a member type of LibCrypto named as the function, that carries the
// exported name and the exact pointer type; Get<Tag>() answers that type, so a call with the
// wrong arguments, or a result taken as the wrong type, doesn't compile.
//
// The library is opened at the first lookup and kept open; resolved addresses are kept, and so is
// the absence of a name that the open library lacks. A library that can't be opened is tried
// again at the next lookup.
class LibCrypto {
 public:
// The type is OpenSSL's own declaration, and the name the same token spelled out, so the two
// can't disagree.
#define QM_LIBCRYPTO_FUNCTION(fn)             \
  struct fn {                                 \
    static constexpr const char* kName = #fn; \
    using Type = decltype(&::fn);             \
  }

  // OpenSSL 3 declares these two deprecated and the third not at all (it is a macro there); the
  // types are those of the releases that exported all three.
  struct ERR_load_PKCS7_strings {
    static constexpr const char* kName = "ERR_load_PKCS7_strings";
    using Type = int (*)();
  };
  struct ERR_load_X509_strings {
    static constexpr const char* kName = "ERR_load_X509_strings";
    using Type = int (*)();
  };
  struct OpenSSL_add_all_digests {
    static constexpr const char* kName = "OpenSSL_add_all_digests";
    using Type = void (*)();
  };
  QM_LIBCRYPTO_FUNCTION(d2i_PKCS7_fp);
  QM_LIBCRYPTO_FUNCTION(OBJ_obj2nid);
  QM_LIBCRYPTO_FUNCTION(PKCS7_free);
  QM_LIBCRYPTO_FUNCTION(ASN1_get_object);
  QM_LIBCRYPTO_FUNCTION(ASN1_STRING_get0_data);
  QM_LIBCRYPTO_FUNCTION(ASN1_STRING_length);
  // A library context of a thread's own (ThreadLibraryContext): OpenSSL 3 only.
  QM_LIBCRYPTO_FUNCTION(OSSL_LIB_CTX_new);
  QM_LIBCRYPTO_FUNCTION(OSSL_LIB_CTX_free);
  QM_LIBCRYPTO_FUNCTION(OSSL_LIB_CTX_set0_default);
#undef QM_LIBCRYPTO_FUNCTION

 private:
  template <class... Tags>
  struct Table {
    static constexpr std::size_t kCount = sizeof...(Tags);
    // The slot of `Tag` in the cache; kCount when it isn't one of Tags.
    template <class Tag>
    static constexpr std::size_t kIndexOf = [] {
      constexpr bool matches[] = {std::is_same_v<Tag, Tags>...};
      std::size_t i = 0;
      while (i < kCount && !matches[i])
        ++i;
      return i;
    }();
  };
  using Functions =
      Table<ERR_load_PKCS7_strings, ERR_load_X509_strings, OpenSSL_add_all_digests, d2i_PKCS7_fp,
            OBJ_obj2nid, PKCS7_free, ASN1_get_object, ASN1_STRING_get0_data, ASN1_STRING_length,
            OSSL_LIB_CTX_new, OSSL_LIB_CTX_free, OSSL_LIB_CTX_set0_default>;

 public:
  // A tag of the table above.
  template <class Tag>
  static constexpr bool kIsFunction = Functions::kIndexOf<Tag> < Functions::kCount;

  explicit LibCrypto(std::string libraryPath);
  ~LibCrypto();
  LibCrypto(const LibCrypto&) = delete;
  LibCrypto& operator=(const LibCrypto&) = delete;

  // Debian's OpenSSL 3, by its soname.
  static LibCrypto& System();

  const std::string& LibraryPath() const {
    return path_;
  }

  // The function of `Tag`. Raises FunctionNotFoundException when the library or the name can't
  // be found.
  template <class Tag>
  requires kIsFunction<Tag>
  typename Tag::Type Get() const {
    return reinterpret_cast<typename Tag::Type>(Resolve(Functions::kIndexOf<Tag>, Tag::kName));
  }

  // The function of `Tag`, or nullptr when the library is there but lacks the name (OpenSSL 3
  // turned some old initialisation functions into macros). Raises FunctionNotFoundException only
  // when the library itself can't be opened.
  template <class Tag>
  requires kIsFunction<Tag>
  typename Tag::Type GetIfExported() const {
    return reinterpret_cast<typename Tag::Type>(Lookup(Functions::kIndexOf<Tag>, Tag::kName));
  }

 private:
  void* Handle(const char* name) const;
  void* Lookup(std::size_t slot, const char* name) const;
  void* Resolve(std::size_t slot, const char* name) const;

  std::string path_;
  mutable std::atomic<void*> handle_{nullptr};
  mutable std::array<std::atomic<void*>, Functions::kCount> resolved_{};
};

}  // namespace CertTools
