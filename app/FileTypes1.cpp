#include "app/FileTypes1.h"

#include <vector>

namespace FileTypes1 {

using toolkit::FileType;
using toolkit::Ref;

namespace {
Ref<FileType> pAny;
Ref<FileType> pApps;
std::vector<Ref<FileType>> pAllFileTypes;
}  // namespace

void _Initialize() {
  pAny = Ref<FileType>::New();
  pAny->Name = "special/any";
  pAny->MacType = "????";
  pAny->MacCreator = "????";
  pAny->Imported = true;
  pAllFileTypes.push_back(pAny);
  (void)pAny->Text();

  pApps = Ref<FileType>::New();
  pApps->Name = "apps";
  pApps->Extensions = "app";
  pApps->Imported = true;
  pAllFileTypes.push_back(pApps);
  (void)pApps->Text();
}

Ref<FileType> Any() {
  return pAny;
}

Ref<FileType> Apps() {
  return pApps;
}

toolkit::String All() {
  return "special/any;apps";
}

}  // namespace FileTypes1
