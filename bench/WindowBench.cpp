// Costs of the window's logic, each beside a baseline measured in the same run:
//   a drop of 1,000 receipt files on the headless window,  against 1,000 bare ReadReceipt calls
//   read on the window's own thread between the turns     on the same files
//   of its loop
//   opening a receipt row of 2,000 attributes              against ReadReceipt of that receipt,
//                                                          and against adding 2,000 rows of
//                                                          ready texts to the list
// After the runs the ratios are printed; they are what to compare between changes, since the
// absolute times depend on the machine.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "app/App.h"
#include "bench/Ratios.h"
#include "platform/toolkit/Headless.h"
#include "platform/toolkit/ListModel.h"
#include "receipts/CertTools.h"
#include "tools/receiptmaker/ReceiptMaker.h"
#include "window/Window1.h"

namespace {

namespace fs = std::filesystem;
using namespace ReceiptMaker;
using toolkit::FolderItem;
using toolkit::Ref;

const fs::path& Scratch() {
  static const fs::path path = [] {
    const auto p =
        fs::temp_directory_path() / ("quellmark-window-bench-" + std::to_string(getpid()));
    fs::create_directories(p);
    return p;
  }();
  return path;
}

fs::path Write(const std::string& name, const Bytes& bytes) {
  const fs::path p = Scratch() / name;
  std::ofstream(p, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return p;
}

// 1,000 files of a typical receipt, each under a name of its own.
const std::vector<Ref<FolderItem>>& ThousandReceipts() {
  static const std::vector<Ref<FolderItem>> files = [] {
    const Bytes receipt = Sign(TypicalPayload());
    std::vector<Ref<FolderItem>> items;
    for (int i = 0; i < 1000; ++i)
      items.push_back(Ref<FolderItem>::New(Write(std::to_string(i) + ".receipt", receipt)));
    return items;
  }();
  return files;
}

// A receipt of 2,000 distinct attribute numbers, with texts, integers and blocks.
const Ref<FolderItem>& LargeReceipt() {
  static const Ref<FolderItem> file = [] {
    std::vector<Attribute> attributes;
    for (std::int64_t i = 0; i < 2000; ++i) {
      const std::int64_t number = 7 + i * 7;  // 1 and 6 would not be taken in
      switch (i % 3) {
        case 0:
          attributes.push_back({number, 1, Utf8Value("value " + std::to_string(i))});
          break;
        case 1:
          attributes.push_back({number, 1, IntValue(i * 7919)});
          break;
        default:
          attributes.push_back({number, 1, HexValue("00112233445566778899AABBCCDDEEFF")});
      }
    }
    return Ref<FolderItem>::New(Write("large.receipt", Sign(Payload(attributes))));
  }();
  return file;
}

// The program as far as the window, on a headless desktop, with an empty list.
struct Program {
  toolkit::HeadlessDesktop desktop;
  Ref<App> app = StartApplication();
  Ref<Window1> window = Window1::Instance();
  Program() {
    window->RaiseOpen();
    window->clearList();
  }
};

void BM_ReadReceipt1000(benchmark::State& state) {
  const auto& files = ThousandReceipts();
  std::vector<Ref<toolkit::Dictionary>> records;
  for (auto _ : state) {
    for (const auto& file : files)
      records.push_back(CertTools::ReadReceipt(file));
    benchmark::DoNotOptimize(records.data());
    records.clear();
  }
}
BENCHMARK(BM_ReadReceipt1000)->Unit(benchmark::kMillisecond);

void BM_Drop1000(benchmark::State& state) {
  const auto& files = ThousandReceipts();
  Program program;
  // No reading threads: the cost of the window's own work beside the reading, in CPU time.
  program.window->ReadingThreads(0);
  for (auto _ : state) {
    toolkit::FileDragItem drag(files);
    program.window->RaiseDropObject(drag, 0);
    while (program.window->Working())
      program.desktop.Loop().AdvanceClock(Window1::kReadingTurnMs);
    if (program.window->lb()->ListCount() != 1000) state.SkipWithError("the drop lost receipts");
    program.window->clearList();
  }
}
BENCHMARK(BM_Drop1000)->Unit(benchmark::kMillisecond);

void BM_ReadLargeReceipt(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(CertTools::ReadReceipt(LargeReceipt()));
}
BENCHMARK(BM_ReadLargeReceipt)->Unit(benchmark::kMicrosecond);

void BM_Add2000ReadyRows(benchmark::State& state) {
  toolkit::ListModel list;
  toolkit::ListboxDesign design;
  design.ColumnCount = 3;
  list.ApplyDesign(design);
  std::vector<std::vector<toolkit::String>> rows;
  for (int i = 0; i < 2000; ++i)
    rows.push_back({"", std::to_string(i) + " ", "value " + std::to_string(i)});
  for (auto _ : state) {
    for (const auto& cells : rows)
      list.AddRow(cells);
    list.DeleteAllRows();
  }
}
BENCHMARK(BM_Add2000ReadyRows)->Unit(benchmark::kMicrosecond);

void BM_Expand2000(benchmark::State& state) {
  Program program;
  const auto list = program.window->lb();
  if (!program.window->listReceipt(LargeReceipt(), "large.receipt")) {
    state.SkipWithError("the large receipt did not read");
    return;
  }
  for (auto _ : state) {
    list->Expanded(0, true);
    if (list->ListCount() != 2001) state.SkipWithError("the row did not open into 2,000 rows");
    list->Expanded(0, false);
  }
}
BENCHMARK(BM_Expand2000)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  bench::RunWithRatios(&argc, argv,
                       {{"BM_Drop1000", "BM_ReadReceipt1000"},
                        {"BM_Expand2000", "BM_ReadLargeReceipt"},
                        {"BM_Expand2000", "BM_Add2000ReadyRows"}});
  std::error_code ec;
  fs::remove_all(Scratch(), ec);
  return 0;
}
