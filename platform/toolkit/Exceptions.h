#pragma once

#include <stdexcept>
#include <string>

namespace toolkit {

// Root of the exceptions the program raises and catches. The few catch blocks of the
// program name exactly the class they expect, so each failure has its own class here.
class RuntimeException : public std::runtime_error {
 public:
  explicit RuntimeException(const std::string& message = {}, int errorNumber = 0)
      : std::runtime_error(message), errorNumber_(errorNumber) {}

  std::string Message() const { return what(); }
  int ErrorNumber() const { return errorNumber_; }

 private:
  int errorNumber_;
};

// Any use of nil: a member called through an empty Ref, a nil where an object is needed.
class NilObjectException : public RuntimeException {
 public:
  explicit NilObjectException(const std::string& message = "NilObjectException")
      : RuntimeException(message) {}
};

// A library function that could not be resolved by name. Carries the function's name and
// the path of the library it was looked up in.
class FunctionNotFoundException : public RuntimeException {
 public:
  FunctionNotFoundException(std::string functionName, std::string libraryPath)
      : RuntimeException("Function \"" + functionName + "\" not found in \"" + libraryPath + "\""),
        functionName_(std::move(functionName)),
        libraryPath_(std::move(libraryPath)) {}

  const std::string& FunctionName() const { return functionName_; }
  const std::string& LibraryPath() const { return libraryPath_; }

 private:
  std::string functionName_;
  std::string libraryPath_;
};

// A value of the wrong kind: a wrong CoreFoundation type, a Variant that cannot convert.
class TypeMismatchException : public RuntimeException {
 public:
  using RuntimeException::RuntimeException;
};

// An index outside what a container holds.
class OutOfBoundsException : public RuntimeException {
 public:
  using RuntimeException::RuntimeException;
};

// Dictionary::Value of a key that is not there.
class KeyNotFoundException : public RuntimeException {
 public:
  using RuntimeException::RuntimeException;
};

// A file that cannot be opened or read.
class IOException : public RuntimeException {
 public:
  using RuntimeException::RuntimeException;
};

}  // namespace toolkit
