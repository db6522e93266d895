#include "platform/toolkit/cf/System.h"

#include <dlfcn.h>

#include <string>
#include <string_view>

#include "platform/cf/CFBundle.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/cf/CFStringRef.h"

namespace toolkit::System {

namespace {

constexpr std::string_view kFrameworkSuffix = ".framework";

void* FrameworkFunction(std::string_view framework, const String& functionName) {
  const CFStringRef id = StringToCFString(String("com.apple." + std::string(framework)));
  const CFStringRef name = StringToCFString(functionName);
  if (id.IsNull() || name.IsNull()) return nullptr;
  const CFBundleRef bundle = CFBundleGetBundleWithIdentifier(id.Get());
  return bundle != nullptr ? CFBundleGetFunctionPointerForName(bundle, name.Get()) : nullptr;
}

}  // namespace

void* FunctionAddress(const String& functionName, const String& libraryName) {
  const std::string library = libraryName.Bytes();
  const std::string function = functionName.Bytes();
  if (library.empty() || function.empty() || function.find('\0') != std::string::npos ||
      library.find('\0') != std::string::npos) {
    return nullptr;
  }
  if (library.size() > kFrameworkSuffix.size() && library.ends_with(kFrameworkSuffix)) {
    return FrameworkFunction(
        std::string_view(library).substr(0, library.size() - kFrameworkSuffix.size()),
        functionName);
  }
  // The library stays loaded: a function found here may be called later.
  void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  return handle != nullptr ? dlsym(handle, function.c_str()) : nullptr;
}

bool IsFunctionAvailable(const String& functionName, const String& libraryName) {
  return FunctionAddress(functionName, libraryName) != nullptr;
}

void* RequireFunction(const String& functionName, const String& libraryName) {
  void* address = FunctionAddress(functionName, libraryName);
  if (address == nullptr) {
    throw FunctionNotFoundException(functionName.Bytes(), libraryName.Bytes());
  }
  return address;
}

}  // namespace toolkit::System
