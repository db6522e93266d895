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

void* d2i_PKCS7_fp(std::FILE* fp, void** out) {
  void* p7 = RealFunction<void*(std::FILE*, void**)>("d2i_PKCS7_fp")(fp, out);
  if (p7 != nullptr) ++stub_containers_parsed;
  return p7;
}

int OBJ_obj2nid(const void* object) {
  return RealFunction<int(const void*)>("OBJ_obj2nid")(object);
}

const unsigned char* ASN1_STRING_get0_data(const void* string) {
  return RealFunction<const unsigned char*(const void*)>("ASN1_STRING_get0_data")(string);
}

int ASN1_STRING_length(const void* string) {
  return RealFunction<int(const void*)>("ASN1_STRING_length")(string);
}

#ifndef STUB_LACKS_PKCS7_FREE
void PKCS7_free(void* p7) {
  if (p7 != nullptr) ++stub_containers_freed;
  RealFunction<void(void*)>("PKCS7_free")(p7);
}
#endif

#ifndef STUB_LACKS_ASN1_GET_OBJECT
int ASN1_get_object(const unsigned char** pp, long* length, int* tag, int* cls, long max) {
  return RealFunction<int(const unsigned char**, long*, int*, int*, long)>("ASN1_get_object")(
      pp, length, tag, cls, max);
}
#endif

}  // extern "C"
