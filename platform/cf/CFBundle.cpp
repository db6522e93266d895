#include "platform/cf/CFBundle.h"

#include <array>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "platform/cf/CFArray.h"
#include "platform/cf/CFDate.h"
#include "platform/cf/CFDictionary.h"
#include "platform/cf/CFNumber.h"
#include "platform/cf/CFString.h"
#include "platform/cf/CFURL.h"
#include "platform/cf/Runtime.h"

struct OpaqueCFBundle : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kBundleTypeID;

  // Takes over the count on `id`.
  explicit OpaqueCFBundle(CFStringRef id) : Object(kTypeID), identifier(id) {}

  const CFStringRef identifier;
};

namespace cf {

namespace {

const void* RetainValue(CFAllocatorRef, const void* value) {
  return CFRetain(value);
}

void ReleaseValue(CFAllocatorRef, const void* value) {
  CFRelease(value);
}

// The storage of the exported data symbols: their addresses are what the bundles answer.
struct DataSymbols {
  CFBooleanRef booleanTrue = BooleanConstant(true);
  CFBooleanRef booleanFalse = BooleanConstant(false);
  CFNumberRef nan = NumberConstant(std::numeric_limits<double>::quiet_NaN());
  CFNumberRef negativeInfinity = NumberConstant(-std::numeric_limits<double>::infinity());
  CFNumberRef positiveInfinity = NumberConstant(std::numeric_limits<double>::infinity());
  CFNullRef null = NullConstant();
  CFTimeInterval since1904 = 3061152000.0;
  CFTimeInterval since1970 = 978307200.0;
  CFArrayCallBacks arrayCallBacks = {0, RetainValue, ReleaseValue, CFCopyDescription, CFEqual};
  CFDictionaryKeyCallBacks keyCallBacks = {0,       RetainValue, ReleaseValue, CFCopyDescription,
                                           CFEqual, CFHash};
  CFDictionaryValueCallBacks valueCallBacks = {0, RetainValue, ReleaseValue, CFCopyDescription,
                                               CFEqual};
  CFStringRef domainPOSIX = MakeConstantString("NSPOSIXErrorDomain");
  CFStringRef domainOSStatus = MakeConstantString("NSOSStatusErrorDomain");
  CFStringRef domainMach = MakeConstantString("NSMachErrorDomain");
  CFStringRef domainCocoa = MakeConstantString("NSCocoaErrorDomain");
  CFStringRef localizedDescriptionKey = MakeConstantString("NSLocalizedDescription");
};

struct Symbol {
  std::string_view name;
  void* address;
};

// Made at first use and kept for the process, like the platform's own data.
std::span<const Symbol> SymbolTable() {
  static auto* const data = new DataSymbols;
  static const Symbol table[] = {
      {"kCFBooleanTrue", &data->booleanTrue},
      {"kCFBooleanFalse", &data->booleanFalse},
      {"kCFNumberNaN", &data->nan},
      {"kCFNumberNegativeInfinity", &data->negativeInfinity},
      {"kCFNumberPositiveInfinity", &data->positiveInfinity},
      {"kCFNull", &data->null},
      {"kCFAbsoluteTimeIntervalSince1904", &data->since1904},
      {"kCFAbsoluteTimeIntervalSince1970", &data->since1970},
      {"kCFTypeArrayCallBacks", &data->arrayCallBacks},
      {"kCFTypeDictionaryKeyCallBacks", &data->keyCallBacks},
      {"kCFTypeDictionaryValueCallBacks", &data->valueCallBacks},
      {"kCFErrorDomainPOSIX", &data->domainPOSIX},
      {"kCFErrorDomainOSStatus", &data->domainOSStatus},
      {"kCFErrorDomainMach", &data->domainMach},
      {"kCFErrorDomainCocoa", &data->domainCocoa},
      {"kCFErrorLocalizedDescriptionKey", &data->localizedDescriptionKey},
  };
  return table;
}

struct Function {
  std::string_view name;
  void* address;
};

std::span<const Function> FunctionTable() {
  static const Function table[] = {
      {"CFURLCreateWithString", reinterpret_cast<void*>(&CFURLCreateWithString)},
      {"CFURLCreateWithFileSystemPath", reinterpret_cast<void*>(&CFURLCreateWithFileSystemPath)},
      {"CFURLGetFileSystemRepresentation",
       reinterpret_cast<void*>(&CFURLGetFileSystemRepresentation)},
  };
  return table;
}

// The framework bundles, made at first use and never freed.
const std::array<OpaqueCFBundle*, 2>& BuiltInBundles() {
  static const std::array<OpaqueCFBundle*, 2> bundles = {
      PublishConstant(new OpaqueCFBundle(MakeConstantString("com.apple.CoreFoundation"))),
      PublishConstant(new OpaqueCFBundle(MakeConstantString("com.apple.Carbon"))),
  };
  return bundles;
}

std::string BundleContents(const Object& object) {
  return Join({"identifier = ", UTF8Of(static_cast<const OpaqueCFBundle&>(object).identifier)});
}

}  // namespace

// A bundle is one thing on disk, so identity is its equality.
extern const ClassRecord kBundleClass = {"CFBundle", Finalize<OpaqueCFBundle>, nullptr, nullptr,
                                         BundleContents};

}  // namespace cf

using cf::Cast;
using cf::CountCall;

extern "C" {

CFTypeID CFBundleGetTypeID(void) {
  CountCall();
  return cf::kBundleTypeID;
}

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID) {
  CountCall();
  if (cf::Expect(bundleID, cf::kStringTypeID, "CFBundleGetBundleWithIdentifier") == nullptr) {
    return nullptr;
  }
  const std::string wanted = cf::UTF8Of(bundleID);
  for (OpaqueCFBundle* bundle : cf::BuiltInBundles()) {
    if (cf::UTF8Of(bundle->identifier) == wanted) return bundle;
  }
  return nullptr;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef bundle) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleGetIdentifier");
  return b != nullptr ? b->identifier : nullptr;
}

void* CFBundleGetDataPointerForName(CFBundleRef bundle, CFStringRef symbolName) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleGetDataPointerForName");
  if (b == nullptr ||
      cf::Expect(symbolName, cf::kStringTypeID, "CFBundleGetDataPointerForName") == nullptr) {
    return nullptr;
  }
  const std::string name = cf::UTF8Of(symbolName);
  for (const cf::Symbol& symbol : cf::SymbolTable()) {
    if (symbol.name == name) return symbol.address;
  }
  return nullptr;
}

void* CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef functionName) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleGetFunctionPointerForName");
  if (b == nullptr ||
      cf::Expect(functionName, cf::kStringTypeID, "CFBundleGetFunctionPointerForName") == nullptr) {
    return nullptr;
  }
  const std::string name = cf::UTF8Of(functionName);
  for (const cf::Function& function : cf::FunctionTable()) {
    if (function.name == name) return function.address;
  }
  return nullptr;
}

}  // extern "C"
