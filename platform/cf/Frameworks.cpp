// What the two framework bundles "com.apple.CoreFoundation" and "com.apple.Carbon" export by
// name: the platform's data symbols and a few functions of this library.

#include <limits>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include "platform/cf/CFArray.h"
#include "platform/cf/CFBundle.h"
#include "platform/cf/CFDate.h"
#include "platform/cf/CFDictionary.h"
#include "platform/cf/CFNumber.h"
#include "platform/cf/CFString.h"
#include "platform/cf/CFURL.h"
#include "platform/cf/Runtime.h"
#include "platform/cf/StandIn.h"

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

// Made at first use and kept for the process, like the platform's own data.
DataSymbols& Data() {
  static auto* const data = new DataSymbols;
  return *data;
}

struct Symbol {
  std::string_view name;
  void* address;
};

std::span<const Symbol> SymbolTable() {
  DataSymbols& data = Data();
  static const Symbol table[] = {
      {"kCFBooleanTrue", &data.booleanTrue},
      {"kCFBooleanFalse", &data.booleanFalse},
      {"kCFNumberNaN", &data.nan},
      {"kCFNumberNegativeInfinity", &data.negativeInfinity},
      {"kCFNumberPositiveInfinity", &data.positiveInfinity},
      {"kCFNull", &data.null},
      {"kCFAbsoluteTimeIntervalSince1904", &data.since1904},
      {"kCFAbsoluteTimeIntervalSince1970", &data.since1970},
      {"kCFTypeArrayCallBacks", &data.arrayCallBacks},
      {"kCFTypeDictionaryKeyCallBacks", &data.keyCallBacks},
      {"kCFTypeDictionaryValueCallBacks", &data.valueCallBacks},
      {"kCFErrorDomainPOSIX", &data.domainPOSIX},
      {"kCFErrorDomainOSStatus", &data.domainOSStatus},
      {"kCFErrorDomainMach", &data.domainMach},
      {"kCFErrorDomainCocoa", &data.domainCocoa},
      {"kCFErrorLocalizedDescriptionKey", &data.localizedDescriptionKey},
  };
  return table;
}

template <class F>
void* FunctionAddress(F* function) {
  return reinterpret_cast<void*>(function);
}

std::span<const Symbol> FunctionTable() {
  static const Symbol table[] = {
      {"CFURLCreateWithString", FunctionAddress(&CFURLCreateWithString)},
      {"CFURLCreateWithFileSystemPath", FunctionAddress(&CFURLCreateWithFileSystemPath)},
      {"CFURLGetFileSystemRepresentation", FunctionAddress(&CFURLGetFileSystemRepresentation)},
      {"CFBundleLoadExecutable", FunctionAddress(&CFBundleLoadExecutable)},
      {"CFBundleLoadExecutableAndReturnError",
       FunctionAddress(&CFBundleLoadExecutableAndReturnError)},
  };
  return table;
}

std::set<std::string, std::less<>>& HiddenFunctions() {
  static auto* const hidden = new std::set<std::string, std::less<>>;
  return *hidden;
}

}  // namespace

const CFArrayCallBacks* TypeArrayCallBacks() {
  return &Data().arrayCallBacks;
}

const CFDictionaryKeyCallBacks* TypeDictionaryKeyCallBacks() {
  return &Data().keyCallBacks;
}

const CFDictionaryValueCallBacks* TypeDictionaryValueCallBacks() {
  return &Data().valueCallBacks;
}

void* FrameworkDataSymbol(std::string_view name) {
  for (const Symbol& symbol : SymbolTable()) {
    if (symbol.name == name) return symbol.address;
  }
  return nullptr;
}

void* FrameworkFunction(std::string_view name) {
  if (HiddenFunctions().contains(name)) return nullptr;
  for (const Symbol& function : FunctionTable()) {
    if (function.name == name) return function.address;
  }
  return nullptr;
}

void HideFrameworkFunction(std::string_view name, bool hidden) {
  if (hidden) {
    HiddenFunctions().emplace(name);
  } else {
    HiddenFunctions().erase(std::string(name));
  }
}

}  // namespace cf
