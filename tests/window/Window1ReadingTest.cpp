// Drops read after their event, in turns of the loop: the order of the rows whatever the
// threads, the progress, the stop, and an item whose reading raises.

#include <gtest/gtest.h>

#include <string>

#include "Window1Fixture.h"
#include "platform/toolkit/Dictionary.h"

namespace window_test {
namespace {

const String kEllipsis("\xE2\x80\xA6", toolkit::TextEncoding::UTF8);

// The rows of the list that are receipt rows, by name.
Strings ReceiptRows(Listbox& list) {
  Strings names;
  for (std::int64_t r = 0; r < list.ListCount(); ++r) {
    if (list.RowIsFolder(r)) names.push_back(list.Cell(r, 0).Bytes());
  }
  return names;
}

class Window1ReadingTest : public Window1Test {
 protected:
  void SetUp() override {
    window->RaiseOpen();
    window->clearList();
    scratch.Write("drop/r", Receipt());
  }

  // One item per turn, read between the turns on the window's thread: each turn adds one row.
  void OneItemATurn() {
    window->ReadingThreads(0);
    window->ReadingSliceMs(0);
  }
};

// Items of several kinds, many of them: whatever the number of threads, each gets the row that
// its kind calls for, in the order of the drop, and a receipt row holds its record and file.
// (Which row each kind of item calls for is the intake's test.)
TEST_F(Window1ReadingTest, RowsComeInTheOrderOfTheDropWhateverTheThreads) {
  const ReceiptMaker::Bytes refused = ReceiptMaker::Sign(ReceiptMaker::FromHex("04 00"));
  // The kinds, by the first letter of a name: the file to make, and the row's info with the
  // Option key down ("+" for a receipt row).
  const struct {
    char kind;
    const char* info;
  } kinds[] = {{'r', "+"},
               {'n', "Not a MAS receipt"},
               {'x', "Not a MAS receipt"},
               {'f', "Ignored (folder)"},
               {'b', "+"}};
  Strings names;
  for (int i = 0; i < 150; ++i) {
    const auto& k = kinds[static_cast<std::size_t>(i) % std::size(kinds)];
    std::string name = k.kind + std::to_string(i);
    if (k.kind == 'b') name += ".app";
    const fs::path at = fs::path("drop") / name;
    if (k.kind == 'f')
      scratch.Folder(at);
    else if (k.kind == 'n')
      scratch.Write(at, "not a receipt");
    else
      scratch.Write(k.kind == 'b' ? at / "Contents/_MASReceipt/receipt" : at,
                    k.kind == 'x' ? refused : Receipt());
    names.push_back(name);
  }
  for (const bool option : {true, false}) {
    Strings expected;
    for (std::size_t i = 0; i < names.size(); ++i) {
      const std::string info = kinds[i % std::size(kinds)].info;
      if (info == "+")
        expected.push_back(names[i] + "|| +");
      else if (option)
        expected.push_back(names[i] + "||" + info);
    }
    for (const unsigned threads : {0u, 1u, 2u, 4u}) {
      SCOPED_TRACE(std::to_string(threads) + " threads, Option " + (option ? "down" : "up"));
      window->clearList();
      window->ReadingThreads(threads);
      Drop(names, option);
      EXPECT_EQ(rows(), expected);
      for (std::int64_t r = 0; r < list().ListCount(); ++r) {
        if (!list().RowIsFolder(r)) continue;
        EXPECT_FALSE(list().RowTag(r).As<toolkit::Dictionary>().IsNil()) << r;
        const std::string name = list().Cell(r, 0).Bytes();
        const fs::path file = name.ends_with(".app")
                                  ? scratch.path() / "drop" / name / "Contents/_MASReceipt/receipt"
                                  : scratch.path() / "drop" / name;
        EXPECT_EQ(list().RowSource(r)->Path(), file) << r;
      }
    }
  }
}

// Nothing is read in the drop's event; each turn adds the rows of the items read, the progress
// shows from the quiet turns on, counts a drop that comes meanwhile, and goes with the last row.
TEST_F(Window1ReadingTest, ProgressSaysHowFarTheDropsHaveGot) {
  OneItemATurn();
  Strings told;
  window->OnProgress = [&] {
    told.push_back((window->Working() ? "working " : "idle ") + window->ProgressText().Bytes());
  };
  StartDrop(Strings(40, "r"));
  EXPECT_TRUE(window->Working());
  EXPECT_EQ(list().ListCount(), 0);
  EXPECT_EQ(told, Strings{"working "});
  for (int turn = 1; turn <= Window1::kQuietTurns; ++turn) {
    Turn();
    EXPECT_EQ(list().ListCount(), turn);
  }
  StartDrop(Strings(5, "r"));  // read behind the first, and counted from the next turn
  for (int turn = 16; turn <= 45; ++turn)
    Turn();
  EXPECT_FALSE(window->Working());
  EXPECT_EQ(list().ListCount(), 45);
  // Told: the start, then each text once from the first turn that isn't quiet, then the end.
  Strings expected = {"working ", "working Reading 15 of 40" + kEllipsis.Bytes()};
  for (int read = 16; read < 45; ++read)
    expected.push_back("working Reading " + std::to_string(read) + " of 45" + kEllipsis.Bytes());
  expected.push_back("idle ");
  EXPECT_EQ(told, expected);

  // Counts in the thousands read in groups of three digits.
  StartDrop(Strings(1234, "r"));
  for (int turn = 0; turn < Window1::kQuietTurns; ++turn)
    Turn();
  EXPECT_EQ(window->ProgressText(), "Reading 15 of 1,234" + kEllipsis);
  EXPECT_TRUE(window->RaiseStopWork());
}

// A stop leaves the rows added and deals with no other item of the drops being read, also
// with threads that had read ahead; the next drop is read as ever.
TEST_F(Window1ReadingTest, AStopKeepsTheRowsAddedAndReadsNoMore) {
  for (const unsigned threads : {0u, 2u}) {
    SCOPED_TRACE(std::to_string(threads) + " threads");
    window->clearList();
    window->ReadingThreads(threads);
    window->ReadingSliceMs(0);
    StartDrop(Strings(1500, "r"));
    StartDrop(Strings(500, "r"));
    while (list().ListCount() < 20) {
      Turn();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const std::int64_t added = list().ListCount();
    EXPECT_TRUE(window->RaiseStopWork());
    EXPECT_FALSE(window->Working());
    EXPECT_EQ(window->ProgressText(), "");
    EXPECT_FALSE(window->RaiseStopWork());
    for (int turn = 0; turn < 20; ++turn) {
      Turn();
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(list().ListCount(), added);
    Drop({"r", "r"});
    EXPECT_EQ(list().ListCount(), added + 2);
  }
}

// An item whose reading raises ends its drop there, as an exception that leaves a drop's event
// would: the rows before it stay, its other items get none, the exception leaves the turn, and a
// drop behind it is read.
TEST_F(Window1ReadingTest, AnItemThatRaisesEndsItsDrop) {
  for (const char* name : {"boom", "r1", "r2", "r3", "r4", "r5"})
    scratch.Write(fs::path("drop") / name, Receipt());
  for (const unsigned threads : {0u, 2u}) {
    SCOPED_TRACE(std::to_string(threads) + " threads");
    // The reader is asked for when the threads start: the window is made anew for each case.
    checker.reset();  // it leaves the list of the window that goes
    window = toolkit::Window::Make<TestWindow>(scratch.path() / "exe");
    checker = std::make_unique<ListChecker>(*window->lb().As<ListModel>());
    window->raiseOnReading = "boom";
    window->ReadingThreads(threads);
    window->RaiseOpen();
    window->clearList();
    StartDrop({"r1", "r2", "boom", "r3", "notes"}, true);
    StartDrop({"r4", "r5"});
    EXPECT_EQ(FinishReading(), 1);
    EXPECT_EQ(ReceiptRows(list()), (Strings{"r1", "r2", "r4", "r5"}));
    EXPECT_EQ(list().ListCount(), 4);
    StartDrop({"boom", "r1"});  // raises at its first item: the second gets no row
    StartDrop({"r3"});
    EXPECT_EQ(FinishReading(), 1);
    EXPECT_EQ(ReceiptRows(list()), (Strings{"r1", "r2", "r4", "r5", "r3"}));
  }
}

}  // namespace
}  // namespace window_test
