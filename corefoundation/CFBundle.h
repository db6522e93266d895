#pragma once

#include "corefoundation/CFType.h"
#include "platform/toolkit/cf/CFStringRef.h"

namespace CoreFoundation {

class CFArray;
class CFDictionary;
class CFURL;

// A wrapped CFBundle: a bundle folder, the application's own bundle, or a framework whose
// exported data is reached by name. It has no toolkit value. Ending a wrapper releases its
// count only: loaded code stays loaded.
//
// With no reference held, every instance operation answers nil, the empty String or false
// without a platform call; Resource alone raises.
class CFBundle : public CFType {
 public:
  static Ref<CFBundle> New(Ptr ref, bool hasOwnership);
  static Ref<CFBundle> New(const Ref<CFObjectMBS>& source);
  // The main bundle, with a count of its own; empty if the platform has none.
  static Ref<CFBundle> New();

  // CFBundleGetTypeID, asked once.
  static std::uint32_t ClassID();
  // The one wrapper of the main bundle, made at first use and kept for the process.
  static Ref<CFBundle> Application();
  // The bundle with that identifier, with a count of its own. Never nil: the wrapper is empty
  // when the platform knows no such bundle.
  static Ref<CFBundle> NewCFBundleFromID(const String& identifier);
  // The bundle of the folder that `url` names (Create rule). Nil for a nil `url`; empty for a
  // URL that holds no reference or names no folder.
  static Ref<CFBundle> NewCFBundleFromURL(const Ref<CFURL>& url);
  // The bundles of the sub-folders of that folder, in a new array. Nil for a nil `url`, one
  // that holds no reference, or when the platform makes no array.
  static Ref<CFArray> NewCFBundlesFromFolder(const Ref<CFURL>& url);

  // The address of the exported data symbol of that name, borrowed; null when there is no
  // such symbol. The caller reads it as what the symbol holds.
  virtual Ptr DataPointerNotRetained(const String& symbolName) const;
  // The executable's file, relative to the bundle's URL; nil when there is none.
  virtual Ref<CFURL> ExecutableFile() const;
  // The folder of private frameworks (Contents/Frameworks), relative to the bundle's URL.
  virtual Ref<CFURL> FrameworksDirectory() const;
  // The address of the exported function of that name, loading the executable if need be;
  // null when there is no such function.
  virtual Ptr FunctionPointerForName(const String& functionName) const;
  // The information dictionary (Info.plist), with a count of its own.
  virtual Ref<CFDictionary> InfoDictionary() const;
  // The value of `key` in the information dictionary, in a wrapper of its own (immutable
  // class); nil when the key is absent.
  virtual Ref<CFType> InfoDictionaryValue(const String& key) const;
  // Loads the executable; true when it is loaded. Through
  // CFBundleLoadExecutableAndReturnError where "Carbon.framework" has it, whose error is
  // released unread, else through CFBundleLoadExecutable.
  virtual bool Load() const;
  // No working form: raises RuntimeException, with no message, at every call.
  virtual Ref<CFURL> Resource(const String& name, const String& type,
                              const String& subFolder) const;
  // The resources folder (Contents/Resources), relative to the bundle's URL.
  virtual Ref<CFURL> ResourcesDirectory() const;
  // The string stored at the data symbol of that name, with a count of its own; a null value
  // when there is no such symbol.
  virtual toolkit::CFStringRef StringPointerRetained(const String& symbolName) const;
  // The folder of Info.plist (Contents), relative to the bundle's URL.
  virtual Ref<CFURL> SupportFilesDirectory() const;

  // The identifier (CFBundleIdentifier); the empty String when there is none.
  String Identifier() const;
  // The bundle's folder; nil when it has none.
  Ref<CFURL> URL() const;

 protected:
  friend class CFType;
  CFBundle() = default;
  using CFType::Constructor;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  // CFBundleGetMainBundle, which lends its result: the wrapper takes a count of its own.
  virtual void Constructor();

  // Nil for a null `p`, else a CFURL on it by the ownership rule.
  static Ref<CFURL> MakeCFURL(Ptr p, bool hasOwnership);

 private:
  bool Holds() const { return Operator_Compare(nullptr) != 0; }
};

}  // namespace CoreFoundation
