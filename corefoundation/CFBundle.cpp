#include "corefoundation/CFBundle.h"

#include <cstring>

#include "corefoundation/CFArray.h"
#include "corefoundation/CFDictionary.h"
#include "corefoundation/CFError.h"
#include "corefoundation/CFURL.h"
#include "corefoundation/FetchedOnce.h"
#include "platform/cf/CFBundle.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/cf/System.h"

namespace CoreFoundation {

namespace {

// The reference of a URL wrapper, or null for nil.
CFURLRef URLRef(const Ref<CFURL>& url) {
  return url.IsNil() ? nullptr : static_cast<CFURLRef>(url->Reference());
}

// The platform's reference of a wrapper.
CFBundleRef BundleRef(const CFBundle& bundle) {
  return static_cast<CFBundleRef>(const_cast<void*>(bundle.Reference()));
}

}  // namespace

Ref<CFBundle> CFBundle::New(Ptr ref, bool hasOwnership) {
  return Make<CFBundle>(ref, hasOwnership);
}

Ref<CFBundle> CFBundle::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFBundle>(source);
}

Ref<CFBundle> CFBundle::New() {
  return Make<CFBundle>();
}

void CFBundle::Constructor() {
  const CFBundleRef main = CFBundleGetMainBundle();
  if (main == nullptr) return;
  Constructor(main, true);
  Retain();
}

std::uint32_t CFBundle::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFBundleGetTypeID()); });
}

Ref<CFBundle> CFBundle::Application() {
  static FetchedOnce<const Ref<CFBundle>*> application;
  // Kept for the process, like the platform keeps the main bundle.
  const Ref<CFBundle>* const kept = application.Get([] { return new Ref<CFBundle>(New()); });
  return kept != nullptr ? *kept : nullptr;
}

Ref<CFBundle> CFBundle::NewCFBundleFromID(const String& identifier) {
  const toolkit::CFStringRef id = toolkit::StringToCFString(identifier);
  // A text that makes no string names no bundle; the platform is not asked with NULL.
  const CFBundleRef bundle = id.IsNull() ? nullptr : CFBundleGetBundleWithIdentifier(id.Get());
  return New(bundle, false);
}

Ref<CFBundle> CFBundle::NewCFBundleFromURL(const Ref<CFURL>& url) {
  if (url.IsNil()) return nullptr;
  const CFURLRef ref = URLRef(url);
  // An empty URL names no folder, as a URL of no folder makes no bundle.
  return New(ref == nullptr ? nullptr : CFBundleCreate(nullptr, ref), true);
}

Ref<CFArray> CFBundle::NewCFBundlesFromFolder(const Ref<CFURL>& url) {
  const CFURLRef ref = URLRef(url);
  if (ref == nullptr) return nullptr;
  const CFArrayRef bundles = CFBundleCreateBundlesFromDirectory(nullptr, ref, nullptr);
  return bundles == nullptr ? nullptr : CFArray::New(bundles, true);
}

Ref<CFURL> CFBundle::MakeCFURL(Ptr p, bool hasOwnership) {
  return p == nullptr ? nullptr : CFURL::New(p, hasOwnership);
}

Ptr CFBundle::DataPointerNotRetained(const String& symbolName) const {
  if (!Holds()) return nullptr;
  const toolkit::CFStringRef name = toolkit::StringToCFString(symbolName);
  if (name.IsNull()) return nullptr;
  const CFBundleRef bundle = BundleRef(*this);
  return CFBundleGetDataPointerForName(bundle, name.Get());
}

toolkit::CFStringRef CFBundle::StringPointerRetained(const String& symbolName) const {
  const Ptr address = DataPointerNotRetained(symbolName);
  if (address == nullptr) return {};
  ::CFStringRef stored = nullptr;
  std::memcpy(&stored, address, sizeof stored);
  return CFStringRetain(stored);
}

Ptr CFBundle::FunctionPointerForName(const String& functionName) const {
  if (!Holds()) return nullptr;
  const toolkit::CFStringRef name = toolkit::StringToCFString(functionName);
  if (name.IsNull()) return nullptr;
  const CFBundleRef bundle = BundleRef(*this);
  return CFBundleGetFunctionPointerForName(bundle, name.Get());
}

Ref<CFURL> CFBundle::ExecutableFile() const {
  if (!Holds()) return nullptr;
  return MakeCFURL(CFBundleCopyExecutableURL(BundleRef(*this)), true);
}

Ref<CFURL> CFBundle::FrameworksDirectory() const {
  if (!Holds()) return nullptr;
  return MakeCFURL(CFBundleCopyPrivateFrameworksURL(BundleRef(*this)), true);
}

Ref<CFURL> CFBundle::ResourcesDirectory() const {
  if (!Holds()) return nullptr;
  return MakeCFURL(CFBundleCopyResourcesDirectoryURL(BundleRef(*this)), true);
}

Ref<CFURL> CFBundle::SupportFilesDirectory() const {
  if (!Holds()) return nullptr;
  return MakeCFURL(CFBundleCopySupportFilesDirectoryURL(BundleRef(*this)), true);
}

Ref<CFDictionary> CFBundle::InfoDictionary() const {
  if (!Holds()) return nullptr;
  const CFDictionaryRef info = CFBundleGetInfoDictionary(BundleRef(*this));
  return info == nullptr ? nullptr : CFDictionary::New(info, false);
}

Ref<CFType> CFBundle::InfoDictionaryValue(const String& key) const {
  if (!Holds()) return nullptr;
  const toolkit::CFStringRef name = toolkit::StringToCFString(key);
  if (name.IsNull()) return nullptr;
  const CFTypeRef value = CFBundleGetValueForInfoDictionaryKey(BundleRef(*this), name.Get());
  return value == nullptr ? nullptr : NewObject(value, false, 0);
}

bool CFBundle::Load() const {
  if (!Holds()) return false;
  const CFBundleRef bundle = BundleRef(*this);
  if (toolkit::System::IsFunctionAvailable("CFBundleLoadExecutableAndReturnError",
                                           "Carbon.framework")) {
    CFErrorRef error = nullptr;
    const bool loaded = CFBundleLoadExecutableAndReturnError(bundle, &error);
    // Taken and dropped at once: the text of the error goes nowhere.
    if (error != nullptr) CFError::New(error, true);
    return loaded;
  }
  return CFBundleLoadExecutable(bundle);
}

Ref<CFURL> CFBundle::Resource(const String&, const String&, const String&) const {
  throw toolkit::RuntimeException();
}

String CFBundle::Identifier() const {
  if (!Holds()) return String();
  return toolkit::StringFromCFString(CFStringRetain(CFBundleGetIdentifier(BundleRef(*this))));
}

Ref<CFURL> CFBundle::URL() const {
  if (!Holds()) return nullptr;
  const Ref<CFURL> url = CFURL::New(CFBundleCopyBundleURL(BundleRef(*this)), true);
  return url->Equals(nullptr) ? nullptr : url;
}

}  // namespace CoreFoundation
