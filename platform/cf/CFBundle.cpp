#include "platform/cf/CFBundle.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/cf/CFString.h"
#include "platform/cf/Runtime.h"

namespace fs = std::filesystem;

struct OpaqueCFBundle : cf::Object {
  static constexpr CFTypeID kTypeID = cf::kBundleTypeID;

  enum class Layout { kFramework, kContents, kFlat };

  // Takes over the counts on `u` and `i`.
  OpaqueCFBundle(Layout l, std::string f, CFURLRef u, CFDictionaryRef i, std::string e)
      : Object(kTypeID),
        layout(l),
        folder(std::move(f)),
        url(u),
        info(i),
        executable(std::move(e)),
        identifier(static_cast<CFStringRef>(cf::ValueForTextKey(*i, "CFBundleIdentifier"))) {
    if (identifier != nullptr && cf::Find(identifier)->TypeID() != cf::kStringTypeID) {
      identifier = nullptr;
    }
  }
  OpaqueCFBundle(const OpaqueCFBundle&) = delete;
  OpaqueCFBundle& operator=(const OpaqueCFBundle&) = delete;
  ~OpaqueCFBundle();

  const Layout layout;
  // The folder's absolute path with no "/" at its end; empty for a framework bundle.
  const std::string folder;
  // The folder's URL; NULL for a framework bundle.
  const CFURLRef url;
  const CFDictionaryRef info;
  // The executable's path; empty when the bundle names none.
  const std::string executable;
  // Borrowed from `info`.
  CFStringRef identifier;
  // The loader's handle of the executable once it is loaded; never closed.
  void* handle = nullptr;
};

namespace cf {

namespace {

// A larger Info.plist is taken for none: the information dictionary is read whole.
constexpr std::size_t kMaxInfoSize = 16 << 20;

// The bundles made by CFBundleCreate that are alive, and the main bundle, by folder.
std::map<std::string, OpaqueCFBundle*>& BundlesByFolder() {
  static auto* const bundles = new std::map<std::string, OpaqueCFBundle*>;
  return *bundles;
}

CFDictionaryRef EmptyDictionary() {
  return CFDictionaryCreate(nullptr, nullptr, nullptr, 0, TypeDictionaryKeyCallBacks(),
                            TypeDictionaryValueCallBacks());
}

// The bytes of a file of at most kMaxInfoSize bytes; nothing for a missing, unreadable or
// larger file.
std::optional<std::string> ReadSmallFile(const fs::path& path) {
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return std::nullopt;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  if (file == nullptr) return std::nullopt;
  std::string bytes;
  std::array<char, 65536> chunk;
  while (true) {
    const std::size_t got = std::fread(chunk.data(), 1, chunk.size(), file.get());
    bytes.append(chunk.data(), got);
    if (bytes.size() > kMaxInfoSize) return std::nullopt;
    if (got < chunk.size()) break;
  }
  if (std::ferror(file.get()) != 0) return std::nullopt;
  return bytes;
}

// The information dictionary (Create rule) of an Info.plist; empty when the file is missing,
// unreadable, no property list, or holds something other than a dictionary.
CFDictionaryRef ReadInfo(const fs::path& path) {
  const std::optional<std::string> bytes = ReadSmallFile(path);
  if (bytes) {
    const char* why = nullptr;
    if (CFPropertyListRef list = PropertyListFromBytes(*bytes, nullptr, &why)) {
      if (CFGetTypeID(list) == kDictionaryTypeID) return static_cast<CFDictionaryRef>(list);
      CFRelease(list);
    }
  }
  return EmptyDictionary();
}

// A name that stays inside the folder that holds it.
bool PlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

// A new bundle object (not yet published) of an existing folder, given as an absolute,
// normal path. `mainExecutable` is the running program for the main bundle, else empty.
OpaqueCFBundle* NewFolderBundle(const std::string& folder, const std::string& mainExecutable) {
  std::error_code ec;
  const fs::path root(folder);
  const bool contents = fs::is_directory(root / "Contents", ec);
  const fs::path support = contents ? root / "Contents" : root;
  CFDictionaryRef info = ReadInfo(support / "Info.plist");
  std::string executable = mainExecutable;
  if (executable.empty()) {
    const void* name = ValueForTextKey(*info, "CFBundleExecutable");
    if (name != nullptr && CFGetTypeID(name) == kStringTypeID) {
      const std::string text = UTF8Of(static_cast<CFStringRef>(name));
      if (PlainName(text)) executable = ((contents ? support / "MacOS" : root) / text).string();
    }
  }
  const CFStringRef path = MakeString(folder);
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, path, kCFURLPOSIXPathStyle, true);
  CFRelease(path);
  return new OpaqueCFBundle(
      contents ? OpaqueCFBundle::Layout::kContents : OpaqueCFBundle::Layout::kFlat, folder, url,
      info, std::move(executable));
}

OpaqueCFBundle* NewFrameworkBundle(std::string_view identifier) {
  const void* key = MakeConstantString("CFBundleIdentifier");
  const void* value = MakeConstantString(identifier);
  CFDictionaryRef info = CFDictionaryCreate(nullptr, &key, &value, 1, TypeDictionaryKeyCallBacks(),
                                            TypeDictionaryValueCallBacks());
  return PublishConstant(
      new OpaqueCFBundle(OpaqueCFBundle::Layout::kFramework, {}, nullptr, info, {}));
}

// The framework bundles, made at first use and never freed.
const std::array<OpaqueCFBundle*, 2>& FrameworkBundles() {
  static const std::array<OpaqueCFBundle*, 2> bundles = [] {
    const ConstantScope constants;
    return std::array<OpaqueCFBundle*, 2>{NewFrameworkBundle("com.apple.CoreFoundation"),
                                          NewFrameworkBundle("com.apple.Carbon")};
  }();
  return bundles;
}

OpaqueCFBundle* MainBundle() {
  static OpaqueCFBundle* const main = [] {
    const ConstantScope constants;
    std::error_code ec;
    fs::path program = fs::read_symlink("/proc/self/exe", ec);
    if (ec) program = fs::current_path(ec) / "program";
    const fs::path folder = program.parent_path();
    const bool inBundle =
        folder.filename() == "MacOS" && folder.parent_path().filename() == "Contents";
    const fs::path root = inBundle ? folder.parent_path().parent_path() : folder;
    OpaqueCFBundle* bundle =
        PublishConstant(NewFolderBundle(root.lexically_normal().string(), program.string()));
    // The running program and what it has loaded: its exported symbols are the bundle's.
    bundle->handle = dlopen(nullptr, RTLD_NOW);
    BundlesByFolder().emplace(bundle->folder, bundle);
    return bundle;
  }();
  return main;
}

// The absolute, normal path of the folder that a URL names, with no "/" at its end; nothing
// when it names no folder.
std::optional<std::string> FolderOf(CFURLRef url) {
  const std::optional<std::string> path = FileSystemPathOf(url);
  std::error_code ec;
  if (!path || !fs::is_directory(*path, ec)) return std::nullopt;
  std::string folder = fs::path(*path).lexically_normal().string();
  while (folder.size() > 1 && folder.back() == '/')
    folder.pop_back();
  return folder;
}

// The bundle of a folder (Create rule): the one that lives, with one more count, or a new one.
CFBundleRef BundleOfFolder(const std::string& folder) {
  MainBundle();  // so that the main bundle's folder finds it
  auto& bundles = BundlesByFolder();
  if (const auto found = bundles.find(folder); found != bundles.end()) {
    CFRetain(found->second);
    return found->second;
  }
  OpaqueCFBundle* bundle = Publish(NewFolderBundle(folder, {}));
  bundles.emplace(folder, bundle);
  return bundle;
}

// A URL (Create rule) of a part of the bundle's folder, relative to the folder's URL; the
// folder's own URL for an empty `part`.
CFURLRef PartURL(const OpaqueCFBundle& bundle, std::string_view part, bool isDirectory) {
  if (bundle.layout == OpaqueCFBundle::Layout::kFramework) return nullptr;
  if (part.empty()) return static_cast<CFURLRef>(CFRetain(bundle.url));
  return NewRelativeFileURL(part, isDirectory, bundle.url);
}

bool IsContents(const OpaqueCFBundle& bundle) {
  return bundle.layout == OpaqueCFBundle::Layout::kContents;
}

// The bundle's name as the platform's messages give it: the folder's name without extension.
std::string DisplayName(const OpaqueCFBundle& bundle) {
  return fs::path(bundle.folder).stem().string();
}

bool Load(OpaqueCFBundle& bundle, CFErrorRef* error) {
  if (error != nullptr) *error = nullptr;
  if (bundle.layout == OpaqueCFBundle::Layout::kFramework || bundle.handle != nullptr) return true;
  const auto fail = [&](CFIndex code, const std::string& text, const std::string& debug) {
    if (error != nullptr) {
      *error = NewCocoaError(code, {{"NSLocalizedDescription", text},
                                    {"NSDebugDescription", debug},
                                    {"NSBundlePath", bundle.folder}});
    }
    return false;
  };
  const std::string name = Join({"The bundle \u201C", DisplayName(bundle), "\u201D couldn\u2019t"});
  std::error_code ec;
  if (bundle.executable.empty() || !fs::is_regular_file(bundle.executable, ec)) {
    return fail(kCFBundleExecutableNotFoundError,
                Join({name, " be loaded because its executable couldn\u2019t be located."}),
                bundle.executable.empty() ? "The bundle names no executable."
                                          : Join({"No file at ", bundle.executable}));
  }
  // Only a shared object can be loaded into this process.
  char magic[4] = {};
  if (std::FILE* file = std::fopen(bundle.executable.c_str(), "rb")) {
    if (std::fread(magic, 1, sizeof magic, file) != sizeof magic) magic[0] = 0;
    std::fclose(file);
  }
  if (std::string_view(magic, sizeof magic) !=
      "\x7F"
      "ELF") {
    return fail(kCFBundleExecutableNotLoadableError,
                Join({name, " be loaded because its executable isn\u2019t loadable."}),
                Join({bundle.executable, " is no ELF file."}));
  }
  bundle.handle = dlopen(bundle.executable.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (bundle.handle == nullptr) {
    const char* why = dlerror();
    return fail(kCFBundleExecutableLoadError, Join({name, " be loaded."}),
                why != nullptr ? why : "dlopen failed");
  }
  return true;
}

// A symbol of a bundle's executable, which is loaded first if need be.
void* ExecutableSymbol(OpaqueCFBundle& bundle, const std::string& name) {
  if (!Load(bundle, nullptr)) return nullptr;
  return dlsym(bundle.handle, name.c_str());
}

std::string BundleContents(const Object& object) {
  const auto& bundle = static_cast<const OpaqueCFBundle&>(object);
  return Join({"identifier = ", bundle.identifier != nullptr ? UTF8Of(bundle.identifier) : "(null)",
               ", folder = ", bundle.folder.empty() ? "(none)" : bundle.folder,
               ", loaded = ", bundle.handle != nullptr ? "yes" : "no"});
}

}  // namespace

// A bundle is one thing on disk, so identity is its equality.
extern const ClassRecord kBundleClass = {"CFBundle", Finalize<OpaqueCFBundle>, nullptr, nullptr,
                                         BundleContents};

}  // namespace cf

OpaqueCFBundle::~OpaqueCFBundle() {
  auto& bundles = cf::BundlesByFolder();
  if (const auto found = bundles.find(folder); found != bundles.end() && found->second == this) {
    bundles.erase(found);
  }
  if (url != nullptr) CFRelease(url);
  CFRelease(info);
}

using cf::Cast;
using cf::CountCall;

extern "C" {

CFTypeID CFBundleGetTypeID(void) {
  CountCall();
  return cf::kBundleTypeID;
}

CFBundleRef CFBundleGetMainBundle(void) {
  CountCall();
  return cf::MainBundle();
}

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID) {
  CountCall();
  if (cf::Expect(bundleID, cf::kStringTypeID, "CFBundleGetBundleWithIdentifier") == nullptr) {
    return nullptr;
  }
  const std::string wanted = cf::UTF8Of(bundleID);
  const auto matches = [&wanted](const OpaqueCFBundle* bundle) {
    return bundle->identifier != nullptr && cf::UTF8Of(bundle->identifier) == wanted;
  };
  for (OpaqueCFBundle* bundle : cf::FrameworkBundles()) {
    if (matches(bundle)) return bundle;
  }
  if (matches(cf::MainBundle())) return cf::MainBundle();
  for (const auto& [folder, bundle] : cf::BundlesByFolder()) {
    if (matches(bundle)) return bundle;
  }
  return nullptr;
}

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef bundleURL) {
  CountCall();
  if (cf::Expect(bundleURL, cf::kURLTypeID, "CFBundleCreate") == nullptr) return nullptr;
  const std::optional<std::string> folder = cf::FolderOf(bundleURL);
  return folder ? cf::BundleOfFolder(*folder) : nullptr;
}

CFArrayRef CFBundleCreateBundlesFromDirectory(CFAllocatorRef, CFURLRef directoryURL,
                                              CFStringRef bundleType) {
  CountCall();
  const char* const function = "CFBundleCreateBundlesFromDirectory";
  if (cf::Expect(directoryURL, cf::kURLTypeID, function) == nullptr) return nullptr;
  if (bundleType != nullptr && cf::Expect(bundleType, cf::kStringTypeID, function) == nullptr) {
    return nullptr;
  }
  const std::optional<std::string> folder = cf::FolderOf(directoryURL);
  if (!folder) return nullptr;
  const std::string extension =
      bundleType != nullptr ? cf::Join({".", cf::UTF8Of(bundleType)}) : std::string();
  std::vector<std::string> names;
  std::error_code ec;
  for (fs::directory_iterator it(*folder, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    std::error_code kind;
    if (name.front() == '.' || !it->is_directory(kind)) continue;
    if (!extension.empty() && (name.size() <= extension.size() || !name.ends_with(extension))) {
      continue;
    }
    names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  std::vector<const void*> bundles;
  bundles.reserve(names.size());
  for (const std::string& name : names) {
    bundles.push_back(cf::BundleOfFolder((fs::path(*folder) / name).string()));
  }
  CFArrayRef array = CFArrayCreate(nullptr, bundles.data(), static_cast<CFIndex>(bundles.size()),
                                   cf::TypeArrayCallBacks());
  for (const void* bundle : bundles)
    CFRelease(bundle);
  return array;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef bundle) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleGetIdentifier");
  return b != nullptr ? b->identifier : nullptr;
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleGetInfoDictionary");
  return b != nullptr ? b->info : nullptr;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key) {
  CountCall();
  const char* const function = "CFBundleGetValueForInfoDictionaryKey";
  const auto* b = Cast<OpaqueCFBundle>(bundle, function);
  if (b == nullptr || cf::Expect(key, cf::kStringTypeID, function) == nullptr) return nullptr;
  return CFDictionaryGetValue(b->info, key);
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleCopyBundleURL");
  return b != nullptr ? cf::PartURL(*b, {}, true) : nullptr;
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleCopyExecutableURL");
  std::error_code ec;
  if (b == nullptr || b->executable.empty() || !fs::is_regular_file(b->executable, ec)) {
    return nullptr;
  }
  const std::string part = fs::path(b->executable).lexically_relative(b->folder).string();
  return cf::PartURL(*b, part, false);
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleCopyResourcesDirectoryURL");
  if (b == nullptr) return nullptr;
  return cf::PartURL(*b, cf::IsContents(*b) ? "Contents/Resources" : "", true);
}

CFURLRef CFBundleCopyPrivateFrameworksURL(CFBundleRef bundle) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleCopyPrivateFrameworksURL");
  if (b == nullptr) return nullptr;
  return cf::PartURL(*b, cf::IsContents(*b) ? "Contents/Frameworks" : "Frameworks", true);
}

CFURLRef CFBundleCopySupportFilesDirectoryURL(CFBundleRef bundle) {
  CountCall();
  const auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleCopySupportFilesDirectoryURL");
  if (b == nullptr) return nullptr;
  return cf::PartURL(*b, cf::IsContents(*b) ? "Contents" : "", true);
}

Boolean CFBundleLoadExecutableAndReturnError(CFBundleRef bundle, CFErrorRef* error) {
  CountCall();
  if (error != nullptr) *error = nullptr;
  auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleLoadExecutableAndReturnError");
  return b != nullptr && cf::Load(*b, error);
}

Boolean CFBundleLoadExecutable(CFBundleRef bundle) {
  CountCall();
  auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleLoadExecutable");
  return b != nullptr && cf::Load(*b, nullptr);
}

void* CFBundleGetDataPointerForName(CFBundleRef bundle, CFStringRef symbolName) {
  CountCall();
  auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleGetDataPointerForName");
  if (b == nullptr ||
      cf::Expect(symbolName, cf::kStringTypeID, "CFBundleGetDataPointerForName") == nullptr) {
    return nullptr;
  }
  const std::string name = cf::UTF8Of(symbolName);
  if (b->layout == OpaqueCFBundle::Layout::kFramework) return cf::FrameworkDataSymbol(name);
  return cf::ExecutableSymbol(*b, name);
}

void* CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef functionName) {
  CountCall();
  auto* b = Cast<OpaqueCFBundle>(bundle, "CFBundleGetFunctionPointerForName");
  if (b == nullptr ||
      cf::Expect(functionName, cf::kStringTypeID, "CFBundleGetFunctionPointerForName") == nullptr) {
    return nullptr;
  }
  const std::string name = cf::UTF8Of(functionName);
  if (b->layout == OpaqueCFBundle::Layout::kFramework) return cf::FrameworkFunction(name);
  return cf::ExecutableSymbol(*b, name);
}

}  // extern "C"
