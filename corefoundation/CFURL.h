#pragma once

#include "corefoundation/CFType.h"
#include "platform/cf/CFURL.h"
#include "platform/toolkit/FolderItem.h"
#include "platform/toolkit/MemoryBlock.h"
#include "platform/toolkit/cf/CFStringRef.h"

namespace CoreFoundation {

// A wrapped CFURL. The String getters give the empty String for an empty wrapper and for a
// component the URL lacks.
class CFURL : public CFType {
 public:
  // Takes one platform call that copies a component of the URL (Copy rule).
  using CopyStringValueDelegate = ::CFStringRef (*)(const CFURL& url);

  static Ref<CFURL> New(Ptr ref, bool hasOwnership);
  // The URL of `s`; empty when the text is no URL.
  static Ref<CFURL> New(const String& s);
  // The URL of `s` relative to `base` (nil for none); empty when the text is no URL.
  static Ref<CFURL> New(const Ref<CFURL>& base, const String& s);

  // The "file" URL of the item; empty for a nil item.
  static Ref<CFURL> New(const Ref<toolkit::FolderItem>& f);

  // CFURLGetTypeID, asked once.
  static std::uint32_t ClassID();
  // The URL of a path of the platform's POSIX (0) or HFS (1) style, through the function
  // CFURLCreateWithFileSystemPath looked up in "Carbon.framework" at each call. Never nil:
  // empty when the platform makes no URL. FunctionNotFoundException when the lookup fails.
  static Ref<CFURL> CreateFromPOSIXPath(const String& path, bool isFolder);
  static Ref<CFURL> CreateFromHFSPath(const String& path, bool isFolder);
  // The URL of the item of an FSRef held in the block (Create rule); empty when the platform
  // knows no such item, or the block is shorter than an FSRef. NilObjectException for nil.
  static Ref<CFURL> CreateFromFSRef(const Ref<toolkit::MemoryBlock>& fsRef);

  // The URL resolved against its base, in a new wrapper; an empty wrapper for an empty one.
  virtual Ref<CFURL> AbsoluteURL() const;
  // A new URL with `component` appended to the path; an empty wrapper when the receiver
  // holds no reference or `component` is no text.
  virtual Ref<CFURL> AppendComponent(const String& component, bool isFolder) const;
  virtual String HostName() const;
  virtual bool IsDecomposable() const;
  virtual String NetLocation() const;
  virtual String Password() const;
  // The file-system path, tried in buffers of 1 KB doubling up to 64 KB (seven calls at
  // most); the empty String when the URL has no such path or it needs a larger buffer.
  virtual String Path(bool resolveAgainstBase) const;
  // The port; -1 when there is none or the wrapper is empty.
  virtual std::int64_t Port() const;
  // The query text, escaped. `s` is not used: the platform's second argument is always NULL.
  virtual String QueryString(const String& s) const;
  virtual String Scheme() const;
  virtual String UserName() const;
  // The item at Path(true) when it exists. Else nil, or with `keepMissing` the item of the
  // missing path (nil when there is no path); with `logMissing`, "No FolderItem for " and the
  // path go to Stubs::DebugLog. Nil for an empty wrapper.
  virtual Ref<toolkit::FolderItem> Item(bool logMissing, bool keepMissing) const;

  // The base URL with a count of its own; nil when there is none.
  Ref<CFURL> BaseURL() const;
  // The URL's own text, unresolved.
  String RelativeURL() const;
  // The full text of the URL resolved against its base.
  String StringValue() const;

 protected:
  friend class CFType;
  CFURL() = default;
  using CFType::Constructor;

  std::uint32_t Event_ClassID() const override { return ClassID(); }
  Variant Event_VariantValue() const override { return StringValue(); }
  virtual void Constructor(const Ref<CFURL>& base, const String& s);
  virtual void Constructor(const String& s);
  virtual void Constructor(const Ref<toolkit::FolderItem>& f);

  static Ref<CFURL> CreateFromFilesystemPath(const String& path, std::int64_t pathStyle,
                                             bool isFolder);

  static ::CFStringRef CopyHostName(const CFURL& url);
  static ::CFStringRef CopyNetLocation(const CFURL& url);
  static ::CFStringRef CopyPassword(const CFURL& url);
  static ::CFStringRef CopyQueryString(const CFURL& url);
  static ::CFStringRef CopyScheme(const CFURL& url);
  static ::CFStringRef CopyUserName(const CFURL& url);
  // The String of what `copy` gives; the delegate is not called for an empty wrapper.
  String StringValue(CopyStringValueDelegate copy) const;

 private:
  CFURLRef URL() const { return static_cast<CFURLRef>(Reference()); }
  bool Holds() const { return Operator_Compare(nullptr) != 0; }
};

}  // namespace CoreFoundation
