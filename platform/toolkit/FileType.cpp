#include "platform/toolkit/FileType.h"

#include <map>

namespace toolkit {

namespace {

// Entries live as long as the process, like the platform's own table of types.
std::map<String, Ref<FileType>>& Table() {
  static std::map<String, Ref<FileType>> table;
  return table;
}

}  // namespace

String FileType::Text() {
  if (auto self = weak_from_this().lock()) Table()[Name] = Ref<FileType>(std::move(self));
  return Name;
}

Ref<FileType> FileType::Lookup(const String& name) {
  const auto it = Table().find(name);
  return it == Table().end() ? nullptr : it->second;
}

}  // namespace toolkit
