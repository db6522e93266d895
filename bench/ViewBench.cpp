// Costs of the real window on Qt's offscreen platform: Window1 in its WindowHost, its list
// shown in a QTreeView at the window's size, each event dispatched as Qt dispatches it and
// followed by the paint that shows its outcome.
//   a drop of N receipt files, N = 1,000, 10,000,             against ReadReceipt of the same N
//   100,000, read by T threads (T = 1, 2), until its last     files, one after the other on one
//   row is painted, in wall time                              thread, in wall time: the ratio
//                                                             should not grow with N, and should
//                                                             fall with T
//   opening the last of 10,000 rows, a receipt of 187        an absolute time, to stay inside
//   purchases; clearing 10,000 rows with the Delete key      one frame (16 ms)
// While a drop is read, a timer of 1 ms records the longest time between two of its ticks, the
// drop's event included: the longest the window left the person waiting (stall_ms).
// Each drop and each reading reports the peak resident memory of the process while it ran
// (peak_MiB) and the heap that its rows or records hold at its end (held_MiB); the opening
// reports how many rows it showed, the clearing how long the records of the rows took to go,
// in slices, after the window was painted empty (let_go_ms). After the runs the ratios are
// printed, from the medians when the runs are repeated (--benchmark_repetitions=5).

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <QApplication>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QMimeData>
#include <QTableView>
#include <QTreeView>
#include <QUrl>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "app/App.h"
#include "bench/Ratios.h"
#include "examination/Examination.h"
#include "inspector/InspectorPane.h"
#include "platform/qt/QtDesktop.h"
#include "platform/qt/WindowHost.h"
#include "receipts/CertTools.h"
#include "tools/receiptmaker/ReceiptMaker.h"
#include "window/Window1.h"

namespace {

namespace fs = std::filesystem;
using namespace ReceiptMaker;
using toolkit::FolderItem;
using toolkit::Ref;

constexpr std::int64_t kMostFiles = 100000;

const fs::path& Scratch() {
  static const fs::path path = [] {
    const auto p = fs::temp_directory_path() / ("quellmark-view-bench-" + std::to_string(getpid()));
    fs::create_directories(p);
    return p;
  }();
  return path;
}

fs::path Write(const fs::path& p, const Bytes& bytes) {
  std::ofstream(p, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return p;
}

// Files of a receipt as the store writes them, each under a name of its own: the first `n`,
// made as they are first needed.
std::vector<fs::path> Receipts(std::int64_t n) {
  static std::vector<fs::path> files;
  static const Bytes receipt = Sign(TypicalPayload());
  while (static_cast<std::int64_t>(files.size()) < n) {
    char name[32];
    std::snprintf(name, sizeof name, "%06zu.receipt", files.size());
    files.push_back(Write(Scratch() / name, receipt));
  }
  return {files.begin(), files.begin() + n};
}

// The App Store's large sandbox receipt with its 187 purchases where it is at hand, else one
// made here with as many.
const fs::path& LargeReceipt() {
  static const fs::path file = [] {
    const fs::path shared = fs::path(QM_SHARED_RECEIPTS) / "ios-2020-sandbox-large.receipt";
    if (fs::is_regular_file(shared)) return shared;
    std::vector<Attribute> attributes = {{2, 1, Utf8Value("com.example.quellmark")},
                                         {3, 1, Utf8Value("1")},
                                         {19, 1, Utf8Value("1.0")}};
    for (std::int64_t i = 0; i < 187; ++i) {
      attributes.push_back(
          {17, 1,
           PurchaseValue({{1701, 1, IntValue(1)},
                          {1702, 1, Utf8Value("com.example.item" + std::to_string(i))},
                          {1703, 1, Utf8Value(std::to_string(1000000000000000 + i))},
                          {1704, 1, Ia5Value("2020-06-01T10:00:00Z")}})});
    }
    return Write(Scratch() / "large.receipt", Sign(Payload(attributes)));
  }();
  return file;
}

std::int64_t StatusKiB(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  const std::string prefix = std::string(field) + ":";
  while (std::getline(status, line)) {
    if (line.rfind(prefix, 0) == 0) return std::stoll(line.substr(prefix.size()));
  }
  return 0;
}

std::size_t HeapBytes() {
  const struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

// Memory while a step runs: the peak of resident memory from its start on (the kernel's high
// water mark, reset there), and the heap that the step's outcome still holds at its end.
class Memory {
 public:
  Memory() : heap_(HeapBytes()) {
    malloc_trim(0);  // what earlier steps freed leaves the resident set
    std::ofstream("/proc/self/clear_refs") << "5";
  }
  void Report(benchmark::State& state) const {
    state.counters["peak_MiB"] = static_cast<double>(StatusKiB("VmHWM")) / 1024;
    state.counters["held_MiB"] =
        (static_cast<double>(HeapBytes()) - static_cast<double>(heap_)) / (1024 * 1024);
  }

 private:
  std::size_t heap_;
};

// The program as far as its window, shown offscreen at its size, with an empty list.
struct Program {
  qt::QtDesktop desktop;
  Ref<App> app = StartApplication();
  Ref<Window1> window = Window1::Instance();
  std::unique_ptr<qt::WindowHost> host = std::make_unique<qt::WindowHost>(window);
  int paints = 0;

  Program() {
    host->show();
    window->RaiseOpen();
    app->RaiseOpen();
    window->clearList();
    Settle();
    // Counts the list's paints, to tell that a step's outcome was painted.
    struct PaintCounter : QObject {
      int& paints;
      explicit PaintCounter(int& p) : paints(p) {}
      bool eventFilter(QObject*, QEvent* e) override {
        if (e->type() == QEvent::Paint) ++paints;
        return false;
      }
    };
    auto* counter = new PaintCounter(paints);
    counter->setParent(host.get());
    View().viewport()->installEventFilter(counter);
  }
  // Made at first use; it goes before the QApplication does.
  static std::unique_ptr<Program>& Current() {
    static std::unique_ptr<Program> program;
    return program;
  }
  static Program& Get() {
    if (!Current()) Current() = std::make_unique<Program>();
    return *Current();
  }

  QTreeView& View() { return *host->ListView(); }
  // Lets Qt lay out and paint what the last event changed, as the event loop would next. Qt
  // may hold a window's paint back until its next frame is due; then it is painted here.
  void Settle() {
    const int before = paints;
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    if (paints == before) host->repaint();
  }
  // The list shown, as the window's timer shows it once it has rows. The timer hides an empty
  // list: it may tick meanwhile, and then the list is shown again.
  void ShowList() {
    do {
      window->lb()->Visible(true);
      Settle();
    } while (!View().isVisible());
  }
  // The drag enters the list, as it does before any drop; true when the list takes it.
  bool Enter(QMimeData& mime) {
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(View().viewport(), &enter);
    return enter.isAccepted();
  }
  bool Drop(QMimeData& mime) {
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(View().viewport(), &drop);
    return drop.isAccepted();
  }
  // Turns of the event loop until the window has read what was dropped, then the paint that
  // shows it.
  void FinishReading() {
    while (window->Working() || host->ItemModel()->rowCount() < window->lb()->ListCount())
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    Settle();
  }
  // Turns of the event loop until the records of removed rows have all gone.
  void LetGo() {
    while (host->ItemModel()->Leaving() > 0)
      Settle();
  }
  void Clear() {
    window->clearList();
    Settle();
    LetGo();
  }
};

std::unique_ptr<QMimeData> Urls(const std::vector<fs::path>& files) {
  QList<QUrl> urls;
  urls.reserve(static_cast<qsizetype>(files.size()));
  for (const fs::path& f : files)
    urls << QUrl::fromLocalFile(QString::fromStdString(f.string()));
  auto mime = std::make_unique<QMimeData>();
  mime->setUrls(urls);
  return mime;
}

// The longest time between two ticks of a 1 ms timer while it runs: how long the event loop
// was held by whatever ran between them.
class StallClock final : public QObject {
 public:
  StallClock() {
    timer_.start(1, Qt::PreciseTimer, this);
    since_.start();
  }
  double LongestMs() const { return static_cast<double>(longest_) / 1e6; }

 protected:
  void timerEvent(QTimerEvent* event) override {
    if (event->timerId() != timer_.timerId()) return;
    longest_ = std::max(longest_, since_.nsecsElapsed());
    since_.restart();
  }

 private:
  QBasicTimer timer_;
  QElapsedTimer since_;
  qint64 longest_ = 0;
};

void BM_ReadReceipts(benchmark::State& state) {
  std::vector<Ref<FolderItem>> files;
  for (const fs::path& p : Receipts(state.range(0)))
    files.push_back(Ref<FolderItem>::New(p));
  std::vector<Ref<toolkit::Dictionary>> records;
  records.reserve(files.size());
  for (auto _ : state) {
    const Memory memory;
    for (const auto& file : files)
      records.push_back(CertTools::ReadReceipt(file));
    benchmark::DoNotOptimize(records.data());
    state.PauseTiming();
    memory.Report(state);
    records.clear();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_ReadReceipts)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(kMostFiles)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_ViewDrop(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const auto mime = Urls(Receipts(n));
  Program& program = Program::Get();
  program.window->ReadingThreads(static_cast<unsigned>(state.range(1)));
  double stall = 0;
  for (auto _ : state) {
    state.PauseTiming();
    program.ShowList();
    const int paints = program.paints;
    const bool entered = program.Enter(*mime);
    const Memory memory;
    auto clock = std::make_unique<StallClock>();
    QCoreApplication::processEvents();  // the clock's first tick
    state.ResumeTiming();
    const bool taken = program.Drop(*mime);
    program.FinishReading();
    state.PauseTiming();
    stall = std::max(stall, clock->LongestMs());
    clock.reset();
    memory.Report(state);
    const bool shown = entered && taken && program.window->lb()->ListCount() == n &&
                       program.host->ItemModel()->rowCount() == n && program.paints > paints;
    if (!shown) {
      static std::string why;  // outlives the run, as SkipWithError wants
      why = "the drop did not show all its rows: entered " + std::to_string(entered) + ", taken " +
            std::to_string(taken) + ", rows " + std::to_string(program.window->lb()->ListCount()) +
            ", shown " + std::to_string(program.host->ItemModel()->rowCount()) + ", paints " +
            std::to_string(program.paints - paints) + ", view " +
            std::to_string(program.View().isVisible()) + ", window " +
            std::to_string(program.host->isVisible()) + ", list " +
            std::to_string(program.window->lb()->Visible());
      program.Clear();
      state.SkipWithError(why.c_str());
      break;
    }
    program.Clear();
    state.ResumeTiming();
  }
  state.counters["stall_ms"] = stall;
  program.window->ReadingThreads(Window1::DefaultReadingThreads());
}
BENCHMARK(BM_ViewDrop)
    // The one-thread drop first, while the window's reading threads are the first it made, as
    // they are in the program, where they last as long as the window. Measured after the
    // two-thread drop it was a fifth slower in some runs here; why is not known.
    ->ArgNames({"files", "threads"})
    ->Args({10000, 1})
    ->Args({1000, 2})
    ->Args({10000, 2})
    ->Args({kMostFiles, 2})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// The same drop and the same reading on one thread, one right after the other in each
// iteration, so that both meet the machine at the same speed: on a shared machine whose speed
// drifts between runs, the median of the iterations' ratios (drop_per_read) tells the cost of
// the threads and the rows more steadily than the ratio of two cases' medians. No time of its
// own is reported.
void BM_DropBesideReading(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  const std::int64_t n = state.range(0);
  std::vector<Ref<FolderItem>> files;
  for (const fs::path& p : Receipts(n))
    files.push_back(Ref<FolderItem>::New(p));
  const auto mime = Urls(Receipts(n));
  Program& program = Program::Get();
  program.window->ReadingThreads(static_cast<unsigned>(state.range(1)));
  std::vector<double> ratios;
  std::vector<Ref<toolkit::Dictionary>> records;
  records.reserve(files.size());
  for (auto _ : state) {
    const auto read = Clock::now();
    for (const auto& file : files)
      records.push_back(CertTools::ReadReceipt(file));
    const std::chrono::duration<double> reading = Clock::now() - read;
    records.clear();
    program.ShowList();
    program.Enter(*mime);
    const auto drop = Clock::now();
    const bool taken = program.Drop(*mime);
    program.FinishReading();
    const std::chrono::duration<double> dropping = Clock::now() - drop;
    const bool shown = taken && program.host->ItemModel()->rowCount() == n;
    program.Clear();
    if (!shown) {
      state.SkipWithError("the drop did not show all its rows");
      break;
    }
    ratios.push_back(dropping / reading);
  }
  if (!ratios.empty()) {
    std::nth_element(ratios.begin(),
                     ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2), ratios.end());
    state.counters["drop_per_read"] = ratios[ratios.size() / 2];
  }
  program.window->ReadingThreads(Window1::DefaultReadingThreads());
}
BENCHMARK(BM_DropBesideReading)
    ->ArgNames({"files", "threads"})
    ->Args({10000, 1})
    ->Args({10000, 2})
    ->Iterations(7)
    ->Unit(benchmark::kMillisecond);

// 10,000 rows dropped, the last of them the large receipt.
void DropTenThousand(Program& program) {
  std::vector<fs::path> files = Receipts(9999);
  files.push_back(LargeReceipt());
  program.ShowList();
  const auto mime = Urls(files);
  program.Enter(*mime);
  program.Drop(*mime);
  program.FinishReading();
}

void BM_ViewOpenLastOf10000(benchmark::State& state) {
  Program& program = Program::Get();
  DropTenThousand(program);
  const auto& model = *program.host->ItemModel();
  const QModelIndex last = model.index(model.rowCount() - 1, 0);
  if (model.rowCount() != 10000 || !model.hasChildren(last)) {
    program.Clear();
    state.SkipWithError("the drop did not list the large receipt last");
    return;
  }
  for (auto _ : state) {
    const int paints = program.paints;
    program.View().expand(last);
    program.Settle();
    state.PauseTiming();
    state.counters["rows"] = model.rowCount(last);
    if (model.rowCount(last) == 0 || program.paints == paints) {
      state.SkipWithError("the receipt did not open");
      break;
    }
    program.View().collapse(last);
    program.Settle();
    state.ResumeTiming();
  }
  program.Clear();
}
BENCHMARK(BM_ViewOpenLastOf10000)->Unit(benchmark::kMillisecond);

// The window's own reading of the large receipt: the baseline of inspecting it.
void BM_ReadLargeReceipt(benchmark::State& state) {
  const auto file = Ref<FolderItem>::New(LargeReceipt());
  for (auto _ : state)
    benchmark::DoNotOptimize(CertTools::ReadReceipt(file));
}
BENCHMARK(BM_ReadLargeReceipt)->Unit(benchmark::kMillisecond);

// The inspector opening on the large receipt: the file examined (signature, chain, every
// attribute), the pane filled with its verdict, attributes and purchases, and painted.
void BM_InspectLargeReceipt(benchmark::State& state) {
  inspector::InspectorPane pane;
  pane.resize(480, 700);
  pane.show();
  QCoreApplication::processEvents();
  for (auto _ : state) {
    pane.Show(Examination::ExamineFile(LargeReceipt()), {});
    pane.repaint();
    QCoreApplication::processEvents();
    state.PauseTiming();
    if (pane.PurchaseView()->model()->rowCount() == 0) {
      state.SkipWithError("no purchases shown");
      break;
    }
    pane.ShowMessage({});
    QCoreApplication::processEvents();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_InspectLargeReceipt)->Unit(benchmark::kMillisecond);

// Each run needs 10,000 rows dropped anew, which takes seconds: one clearing a run.
void BM_ViewClear10000(benchmark::State& state) {
  Program& program = Program::Get();
  for (auto _ : state) {
    state.PauseTiming();
    DropTenThousand(program);
    program.View().setFocus();
    state.ResumeTiming();
    QKeyEvent del(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier);
    QCoreApplication::sendEvent(&program.View(), &del);
    program.Settle();
    state.PauseTiming();
    if (program.host->ItemModel()->rowCount() != 0) {
      program.Clear();
      state.SkipWithError("the rows stayed");
      break;
    }
    const auto start = std::chrono::steady_clock::now();
    program.LetGo();
    state.counters["let_go_ms"] =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_ViewClear10000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication qapp(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  benchmark::Initialize(&argc, argv);
  {
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const std::string most = std::to_string(kMostFiles);
    const auto drop = [](const std::string& n, const char* threads) {
      return "BM_ViewDrop/files:" + n + "/threads:" + threads;
    };
    reporter.PrintRatio(drop("1000", "2"), "BM_ReadReceipts/1000");
    reporter.PrintRatio(drop("10000", "1"), "BM_ReadReceipts/10000");
    reporter.PrintRatio(drop("10000", "2"), "BM_ReadReceipts/10000");
    reporter.PrintRatio(drop(most, "2"), "BM_ReadReceipts/" + most);
    reporter.PrintRatio("BM_InspectLargeReceipt", "BM_ReadLargeReceipt");
    // How the time per row of the largest drop compares with the smallest's.
    reporter.PrintRatio(drop(most, "2"), drop("1000", "2"),
                        1000.0 / static_cast<double>(kMostFiles), " per row");
  }
  Program::Current().reset();
  benchmark::Shutdown();
  std::error_code ec;
  fs::remove_all(Scratch(), ec);
  return 0;
}
