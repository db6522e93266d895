#pragma once

#include "platform/toolkit/String.h"

namespace toolkit::System {

// The address of the function `functionName` in the library `libraryName`, or nullptr when
// either is missing. A library "<Name>.framework" is the framework bundle
// "com.apple.<Name>"; any other name is a shared object, opened as dlopen opens it.
void* FunctionAddress(const String& functionName, const String& libraryName);

// Whether FunctionAddress finds the function.
bool IsFunctionAvailable(const String& functionName, const String& libraryName);

// FunctionAddress, or FunctionNotFoundException naming the function and the library.
void* RequireFunction(const String& functionName, const String& libraryName);

}  // namespace toolkit::System
