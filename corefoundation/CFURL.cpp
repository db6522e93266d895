#include "corefoundation/CFURL.h"

#include <cstring>

#include "app/Stubs.h"
#include "corefoundation/FetchedOnce.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/MemoryBlock.h"
#include "platform/toolkit/cf/System.h"

namespace CoreFoundation {

Ref<CFURL> CFURL::New(Ptr ref, bool hasOwnership) {
  return Make<CFURL>(ref, hasOwnership);
}

Ref<CFURL> CFURL::New(const String& s) {
  return Make<CFURL>(s);
}

Ref<CFURL> CFURL::New(const Ref<CFURL>& base, const String& s) {
  return Make<CFURL>(base, s);
}

Ref<CFURL> CFURL::New(const Ref<toolkit::FolderItem>& f) {
  return Make<CFURL>(f);
}

std::uint32_t CFURL::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFURLGetTypeID()); });
}

void CFURL::Constructor(const Ref<CFURL>& base, const String& s) {
  const toolkit::CFStringRef text = toolkit::StringToCFString(s);
  // No text makes no URL; the platform is not asked with NULL.
  if (text.IsNull()) return;
  const CFURLRef baseRef = base.IsNil() ? nullptr : base->URL();
  Constructor(CFURLCreateWithString(nullptr, text.Get(), baseRef), true);
}

void CFURL::Constructor(const String& s) {
  Constructor(Ref<CFURL>(), s);
}

void CFURL::Constructor(const Ref<toolkit::FolderItem>& f) {
  if (f.IsNil()) {
    CFType::Constructor(nullptr, false);
    return;
  }
  Constructor(f->URLPath());
}

Ref<CFURL> CFURL::CreateFromPOSIXPath(const String& path, bool isFolder) {
  return CreateFromFilesystemPath(path, 0, isFolder);
}

Ref<CFURL> CFURL::CreateFromHFSPath(const String& path, bool isFolder) {
  return CreateFromFilesystemPath(path, 1, isFolder);
}

Ref<CFURL> CFURL::CreateFromFilesystemPath(const String& path, std::int64_t pathStyle,
                                           bool isFolder) {
  using Create = CFURLRef (*)(CFAllocatorRef, ::CFStringRef, CFURLPathStyle, Boolean);
  const auto create = reinterpret_cast<Create>(
      toolkit::System::RequireFunction("CFURLCreateWithFileSystemPath", "Carbon.framework"));
  CFURLRef url = nullptr;
  {
    const toolkit::CFStringRef text = toolkit::StringToCFString(path);
    // No text makes no URL; the platform is not asked with NULL.
    if (!text.IsNull()) {
      url = create(nullptr, text.Get(), static_cast<CFURLPathStyle>(pathStyle), isFolder);
    }
  }  // the string goes before the URL is wrapped
  return New(url, true);
}

Ref<CFURL> CFURL::CreateFromFSRef(const Ref<toolkit::MemoryBlock>& fsRef) {
  if (fsRef.IsNil()) throw toolkit::NilObjectException();
  // The platform reads a whole FSRef, so a shorter block is never handed to it.
  if (fsRef->Size() < static_cast<std::int64_t>(sizeof(FSRef))) return New(nullptr, false);
  FSRef ref;
  std::memcpy(&ref, fsRef->Data(), sizeof ref);
  return New(CFURLCreateFromFSRef(nullptr, &ref), true);
}

Ref<CFURL> CFURL::AbsoluteURL() const {
  if (!Holds()) return New(nullptr, false);
  return New(CFURLCopyAbsoluteURL(URL()), true);
}

Ref<CFURL> CFURL::AppendComponent(const String& component, bool isFolder) const {
  const toolkit::CFStringRef text = toolkit::StringToCFString(component);
  // The platform takes neither a NULL URL nor a NULL component.
  if (!Holds() || text.IsNull()) return New(nullptr, false);
  return New(CFURLCreateCopyAppendingPathComponent(nullptr, URL(), text.Get(), isFolder), true);
}

bool CFURL::IsDecomposable() const {
  return Holds() && CFURLCanBeDecomposed(URL());
}

std::int64_t CFURL::Port() const {
  return Holds() ? CFURLGetPortNumber(URL()) : -1;
}

Ref<CFURL> CFURL::BaseURL() const {
  if (!Holds()) return nullptr;
  const CFURLRef base = CFURLGetBaseURL(URL());
  return base == nullptr ? nullptr : New(base, false);
}

String CFURL::RelativeURL() const {
  if (!Holds()) return String();
  return toolkit::StringFromCFString(CFStringRetain(CFURLGetString(URL())));
}

String CFURL::StringValue() const {
  return AbsoluteURL()->RelativeURL();
}

String CFURL::Path(bool resolveAgainstBase) const {
  if (!Holds()) return String();
  auto block = Ref<toolkit::MemoryBlock>::New(1024);
  while (true) {
    if (CFURLGetFileSystemRepresentation(URL(), resolveAgainstBase, block->Data(),
                                         static_cast<CFIndex>(block->Size()))) {
      break;
    }
    // Sizes 1024 to 65536: seven tries, and no larger block is handed over.
    const std::int64_t size = block->Size() * 2;
    if (size > 0x10000) break;
    block = Ref<toolkit::MemoryBlock>::New(static_cast<std::size_t>(size));
  }
  // After seven failures this is what the last try left in the block up to its first zero
  // byte: the empty String, as the platform writes nothing when the path doesn't fit.
  return toolkit::DefineEncoding(block->CString(0), toolkit::TextEncoding::UTF8);
}

Ref<toolkit::FolderItem> CFURL::Item(bool logMissing, bool keepMissing) const {
  if (!Holds()) return nullptr;
  const String path = Path(true);
  const Ref<toolkit::FolderItem> candidate =
      path.IsEmpty() ? nullptr : toolkit::GetTrueFolderItem(path, 3);
  if (!candidate.IsNil() && candidate->Exists()) return candidate;
  if (logMissing) Stubs::DebugLog("No FolderItem for " + Path(true));
  return keepMissing ? candidate : nullptr;
}

String CFURL::StringValue(CopyStringValueDelegate copy) const {
  if (!Holds()) return String();
  const ::CFStringRef string = copy(*this);
  if (string == nullptr) return String();
  return toolkit::StringFromCFString(toolkit::CFStringRef::Adopt(string));
}

::CFStringRef CFURL::CopyHostName(const CFURL& url) {
  return CFURLCopyHostName(url.URL());
}
::CFStringRef CFURL::CopyNetLocation(const CFURL& url) {
  return CFURLCopyNetLocation(url.URL());
}
::CFStringRef CFURL::CopyPassword(const CFURL& url) {
  return CFURLCopyPassword(url.URL());
}
::CFStringRef CFURL::CopyQueryString(const CFURL& url) {
  // NULL leaves every escape as it is: the query comes out as the URL has it.
  return CFURLCopyQueryString(url.URL(), nullptr);
}
::CFStringRef CFURL::CopyScheme(const CFURL& url) {
  return CFURLCopyScheme(url.URL());
}
::CFStringRef CFURL::CopyUserName(const CFURL& url) {
  return CFURLCopyUserName(url.URL());
}

String CFURL::HostName() const {
  return StringValue(CopyHostName);
}
String CFURL::NetLocation() const {
  return StringValue(CopyNetLocation);
}
String CFURL::Password() const {
  return StringValue(CopyPassword);
}
String CFURL::QueryString(const String&) const {
  return StringValue(CopyQueryString);
}
String CFURL::Scheme() const {
  return StringValue(CopyScheme);
}
String CFURL::UserName() const {
  return StringValue(CopyUserName);
}

}  // namespace CoreFoundation
