// A stand-in for libcrypto that lacks one function (STUB_LACKS_PKCS7_FREE or
// STUB_LACKS_ASN1_GET_OBJECT) and hands every other call to the real library. It counts the
// containers it parsed and freed, so a test can tell whether a reader lost one.

#include <dlfcn.h>

#include <cstdio>

namespace {

void* Real(const char* name) {
  static void* const library = dlopen("libcrypto.so.3", RTLD_NOW | RTLD_LOCAL);
  return library != nullptr ? dlsym(library, name) : nullptr;
}

template <class Fn>
Fn* RealFunction(const char* name) {
  return reinterpret_cast<Fn*>(Real(name));
}

}  // namespace

extern "C" {

int stub_containers_parsed = 0;
int stub_containers_freed = 0;
int stub_strings_read = 0;

void* d2i_PKCS7_fp(std::FILE* fp, void** out) {
  void* p7 = RealFunction<void*(std::FILE*, void**)>("d2i_PKCS7_fp")(fp, out);
  if (p7 != nullptr) ++stub_containers_parsed;
  return p7;
}

const unsigned char* ASN1_STRING_get0_data(const void* string) {
  ++stub_strings_read;
  return RealFunction<const unsigned char*(const void*)>("ASN1_STRING_get0_data")(string);
}

// Functions handed on unchanged.
#define FORWARD(R, name, params, ...)                  \
  R name params {                                      \
    return RealFunction<R params>(#name)(__VA_ARGS__); \
  }
FORWARD(int, OBJ_obj2nid, (const void* o), o)
FORWARD(int, ASN1_STRING_length, (const void* s), s)
#ifndef STUB_LACKS_ASN1_GET_OBJECT
FORWARD(int, ASN1_get_object, (const unsigned char** pp, long* n, int* tag, int* cls, long max), pp,
        n, tag, cls, max)
#endif

#ifndef STUB_LACKS_PKCS7_FREE
void PKCS7_free(void* p7) {
  if (p7 != nullptr) ++stub_containers_freed;
  RealFunction<void(void*)>("PKCS7_free")(p7);
}
#endif

}  // extern "C"
