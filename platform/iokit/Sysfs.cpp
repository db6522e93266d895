#include "platform/iokit/Sysfs.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <set>
#include <system_error>

namespace fs = std::filesystem;

namespace iokit {

namespace {

// Attributes of /sys are a line each; the route table grows with the routes, but a table
// beyond this size is no table this reader trusts.
constexpr std::size_t kAttributeLimit = 4096;
constexpr std::size_t kRouteTableLimit = std::size_t{16} << 20;

// Up to `limit` bytes of the file; none when it can't be opened or read. Files of /proc and
// /sys report no size, so they are read until they end.
std::optional<std::string> ReadFile(const fs::path& path, std::size_t limit) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::string text;
  char buffer[4096];
  while (text.size() < limit) {
    const std::size_t want = std::min(sizeof buffer, limit - text.size());
    in.read(buffer, static_cast<std::streamsize>(want));
    text.append(buffer, static_cast<std::size_t>(in.gcount()));
    if (in.gcount() == 0 || !in) break;
  }
  if (in.bad()) return std::nullopt;
  return text;
}

std::string_view TrimEnd(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ' || text.back() == '\t'))
    text.remove_suffix(1);
  return text;
}

// The whole text as a number of that base; none when anything else stands in it.
template <class T>
std::optional<T> ParseNumber(std::string_view text, int base = 10) {
  T value{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::optional<std::int64_t> ReadNumber(const fs::path& path) {
  const auto text = ReadFile(path, kAttributeLimit);
  if (!text) return std::nullopt;
  return ParseNumber<std::int64_t>(TrimEnd(*text));
}

// Whether `p` lies below `top` (or is `top`), comparing their components.
bool Inside(const fs::path& p, const fs::path& top) {
  const auto [stop, rest] = std::mismatch(top.begin(), top.end(), p.begin(), p.end());
  return stop == top.end();
}

// Whether the device or one of its ancestors belongs to the USB bus, as its `subsystem` link
// tells. The walk stays inside the tree's /sys, so that a test's tree never reads the
// machine's own.
bool OnUsb(const fs::path& deviceLink, const fs::path& sysTop) {
  std::error_code ec;
  fs::path p = fs::canonical(deviceLink, ec);
  if (ec || sysTop.empty()) return false;
  while (Inside(p, sysTop) && p != sysTop) {
    const fs::path subsystem = fs::read_symlink(p / "subsystem", ec);
    if (!ec && subsystem.filename() == "usb") return true;
    p = p.parent_path();
  }
  return false;
}

// "02:fc:00:00:00:01" (with or without a line end) as bytes; none for anything else,
// including the empty text.
std::optional<std::vector<std::uint8_t>> ParseAddress(std::string_view text) {
  text = TrimEnd(text);
  if (text.empty()) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  for (;;) {
    const std::size_t colon = text.find(':');
    const std::string_view part = text.substr(0, colon);
    const auto byte = part.size() == 2 ? ParseNumber<std::uint8_t>(part, 16) : std::nullopt;
    if (!byte) return std::nullopt;
    bytes.push_back(*byte);
    if (colon == std::string_view::npos) return bytes;
    text.remove_prefix(colon + 1);
  }
}

struct DefaultRoute {
  std::string interface;
  std::uint32_t metric;
};

// The default routes (destination and mask 0) that are up, in the text of /proc/net/route,
// in the order of their lines. The heading and lines of another form are passed over.
std::vector<DefaultRoute> DefaultRoutes(std::string_view routeTable) {
  constexpr unsigned kRouteUp = 0x0001;  // RTF_UP
  std::vector<DefaultRoute> routes;
  while (!routeTable.empty()) {
    const std::size_t lineEnd = routeTable.find('\n');
    std::string_view line = routeTable.substr(0, lineEnd);
    routeTable.remove_prefix(lineEnd == std::string_view::npos ? routeTable.size() : lineEnd + 1);

    // Iface Destination Gateway Flags RefCnt Use Metric Mask ...
    std::vector<std::string_view> fields;
    while (fields.size() < 8) {
      const std::size_t start = line.find_first_not_of(" \t\r");
      if (start == std::string_view::npos) break;
      line.remove_prefix(start);
      const std::size_t stop = std::min(line.find_first_of(" \t\r"), line.size());
      fields.push_back(line.substr(0, stop));
      line.remove_prefix(stop);
    }
    if (fields.size() < 8) continue;
    const auto destination = ParseNumber<std::uint32_t>(fields[1], 16);
    const auto flags = ParseNumber<std::uint32_t>(fields[3], 16);
    const auto metric = ParseNumber<std::uint32_t>(fields[6]);
    const auto mask = ParseNumber<std::uint32_t>(fields[7], 16);
    if (!destination || !flags || !metric || !mask) continue;
    if (*destination != 0 || *mask != 0 || (*flags & kRouteUp) == 0) continue;
    routes.push_back({std::string(fields[0]), *metric});
  }
  return routes;
}

}  // namespace

fs::path& RootSlot() {
  static fs::path root = "/";
  return root;
}

bool RegistryPresent(const fs::path& root) {
  std::error_code ec;
  return fs::is_directory(root / "sys" / "class" / "net", ec);
}

std::optional<std::vector<InterfaceInfo>> ReadInterfaces(const fs::path& root) {
  const fs::path net = root / "sys" / "class" / "net";
  std::error_code ec;
  std::vector<std::string> names;
  for (fs::directory_iterator it(net, ec), end; !ec && it != end; it.increment(ec))
    names.push_back(it->path().filename().string());
  if (ec) return std::nullopt;

  std::error_code sysError;
  const fs::path sysTop = fs::canonical(root / "sys", sysError);
  std::vector<InterfaceInfo> interfaces;
  for (const std::string& name : names) {
    const fs::path folder = net / name;
    if (ReadNumber(folder / "type") != 1) continue;  // ARPHRD_ETHER
    InterfaceInfo info;
    info.name = name;
    info.index = ReadNumber(folder / "ifindex").value_or(kNoIndex);
    std::error_code deviceError;
    const bool hasDevice = fs::exists(folder / "device", deviceError);
    info.builtin = hasDevice && !OnUsb(folder / "device", sysError ? fs::path() : sysTop);
    info.primary = false;
    const auto address = ReadFile(folder / "address", kAttributeLimit);
    if (address) info.address = ParseAddress(*address);
    interfaces.push_back(std::move(info));
  }
  std::sort(interfaces.begin(), interfaces.end(), [](const auto& a, const auto& b) {
    return a.index != b.index ? a.index < b.index : a.name < b.name;
  });

  // The default route of the lowest metric among those through these interfaces; failing
  // that, the first built-in interface.
  const auto table = ReadFile(root / "proc" / "net" / "route", kRouteTableLimit);
  std::set<std::string> ethernet;
  for (const InterfaceInfo& info : interfaces)
    ethernet.insert(info.name);
  std::optional<std::uint32_t> best;
  std::set<std::string> primary;
  for (const DefaultRoute& route : DefaultRoutes(table.value_or(""))) {
    if (!ethernet.contains(route.interface)) continue;
    if (!best || route.metric < *best) {
      best = route.metric;
      primary.clear();
    }
    if (route.metric == *best) primary.insert(route.interface);
  }
  for (InterfaceInfo& info : interfaces)
    info.primary = primary.contains(info.name);
  if (primary.empty()) {
    const auto builtin =
        std::find_if(interfaces.begin(), interfaces.end(), [](const auto& i) { return i.builtin; });
    if (builtin != interfaces.end()) builtin->primary = true;
  }
  return interfaces;
}

}  // namespace iokit
