// Receipts into the list: the start-up folder, drops, and the reading of one receipt file.

#include <vector>

#include "app/FileTypes1.h"
#include "platform/toolkit/Desktop.h"
#include "platform/toolkit/Dictionary.h"
#include "receipts/CertTools.h"
#include "window/Window1.h"

using toolkit::FolderItem;
using toolkit::NilObjectException;
using toolkit::Ref;
using toolkit::String;

Ref<FolderItem> Window1::GetFolderItem(const String& path, int pathType) const {
  return toolkit::GetFolderItem(path, pathType);
}

void Window1::Event_Open() {
  // The refresh command stays out of sight; its shortcut is the way to it.
  FileRequestToRefreshTheReceipt()->Visible(false);

  // Only a nil in the way counts as "no receipts". Anything else leaves the event, before
  // drops are turned on.
  try {
    const Ref<FolderItem> folder = GetFolderItem("Supplemental Data", 0);
    const Ref<FolderItem> receipts = folder->Child("_MASReceipt", true);
    if (receipts && receipts->Exists()) {
      const std::int64_t count = receipts->Count();
      for (std::int64_t i = 1; i <= count; ++i) {
        const Ref<FolderItem> item = receipts->Item(i);
        listReceipt(item, item->Name());
      }
    }
  } catch (const NilObjectException&) {
    lb()->AddRow({"No receipts"});
  }

  AcceptFileDrop(FileTypes1::All());
}

void Window1::Event_DropObject(toolkit::DragItem& obj, int action) {
  (void)action;

  // Collect: the first item is there without NextItem. An alias is resolved through its
  // parent folder; one that resolves to nothing is no item at all.
  std::vector<Ref<FolderItem>> items;
  do {
    Ref<FolderItem> item = obj.FolderItem();
    if (!item) continue;
    if (item->Alias()) {
      if (const Ref<FolderItem> parent = item->Parent()) {
        item = parent->Child(item->Name(), true);
        if (!item) continue;
      }
    }
    items.push_back(item);
  } while (obj.NextItem());

  // Decide: a single item always tells why it isn't a receipt; in a drop of several, only
  // with the Option key down as the collection ends.
  const bool showRejects = items.size() == 1 || toolkit::Keyboard::OptionKey();

  for (const Ref<FolderItem>& item : items) {
    const String name = item->Name();
    Ref<FolderItem> file;
    if (IsBundleName(name)) {
      // A bundle by its name, whatever it is on disk.
      try {
        file = item->Child("Contents", true)->Child("_MASReceipt", true)->Child("receipt", true);
      } catch (const NilObjectException&) {
        file = nullptr;
      }
      if (!file || !file->Exists() || file->Directory()) {
        if (showRejects) AddInfoRow(name, "No MAS receipt in app", item);
        continue;
      }
    } else if (item->Directory()) {
      if (showRejects) AddInfoRow(name, "Ignored (folder)", item);
      continue;
    } else {
      file = item;
    }
    if (!listReceipt(file, name) && showRejects) AddInfoRow(name, "Not a MAS receipt", file);
  }
}

void Window1::AddInfoRow(const String& name, const String& info, const Ref<FolderItem>& source) {
  lb()->AddRow({name, "", info});
  if (source) lb()->RowSource(lb()->LastIndex(), source);
}

bool Window1::IsBundleName(const String& name) {
  return toolkit::EqualFoldingASCIICase(toolkit::Right(name, 4), ".app");
}

bool Window1::listReceipt(const Ref<FolderItem>& file, const String& name) {
  try {
    if (!file || file->Directory()) return false;
    const Ref<toolkit::Dictionary> attributes = CertTools::ReadReceipt(file);
    if (!attributes) return false;
    lb()->AddFolder(name);
    // The row keeps the whole record, so that opening it needs the file no more.
    lb()->RowTag(lb()->LastIndex(), attributes);
    lb()->RowSource(lb()->LastIndex(), file);
    return true;
  } catch (const toolkit::RuntimeException&) {
    return false;  // a row already added stays
  }
}
