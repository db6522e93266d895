#pragma once

#include <memory>

#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

// A kind of file that a window may take in a drop. A type is known to the toolkit by its Name
// once its text form has been asked for; Window::AcceptFileDrop resolves names through that
// table.
class FileType : public Object, public std::enable_shared_from_this<FileType> {
 public:
  String Name;
  String Extensions;  // without dots, separated by ";"
  String MacType;
  String MacCreator;
  String MimeType;
  bool Imported = false;
  String ConformsTo;

  // The type's text form, its Name. Asking for it enters the type in the toolkit's table under
  // that name, in place of a type entered under it before. A type that isn't held by a Ref
  // can't be entered: it only answers its Name.
  String Text();
  // The type entered under `name`, or nil.
  static Ref<FileType> Lookup(const String& name);
};

}  // namespace toolkit
