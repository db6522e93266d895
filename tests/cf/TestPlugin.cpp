// The executable of the test bundles: a shared object with one exported function and one
// exported datum, and nothing else visible.

#define QM_EXPORT __attribute__((visibility("default")))

extern "C" {

QM_EXPORT int QuellmarkPluginTwice(int value) {
  return 2 * value;
}

QM_EXPORT extern const char QuellmarkPluginName[] = "test plug-in";

}  // extern "C"
