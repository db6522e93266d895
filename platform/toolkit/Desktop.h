#pragma once

#include <cstdint>

#include "platform/toolkit/EventLoop.h"
#include "platform/toolkit/Ref.h"
#include "platform/toolkit/String.h"

namespace toolkit {

class Label;
class Listbox;

// What the program asks of the desktop it runs on, beyond files: the event loop, the two
// kinds of message to the user, the state of the modifier keys, and the visible controls.
// One desktop is current at a time; a platform installs its own at start, and tests install a
// HeadlessDesktop (Headless.h).
class Desktop {
 public:
  Desktop() = default;
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;
  virtual ~Desktop() = default;

  // The installed desktop. NilObjectException when there is none.
  static Desktop& Current();
  // Makes `desktop` (which may be null) the current one; returns the one it replaces.
  static Desktop* Install(Desktop* desktop);

  virtual EventLoop& Loop() = 0;
  // Shows `text` with an OK button and returns when the user has closed the box.
  virtual void MsgBox(const String& text) = 0;
  // The system's alert sound.
  virtual void Beep() = 0;
  // Whether the Option (Alt) key is down at the moment of the call.
  virtual bool OptionKey() = 0;
  // New controls for a window; the window owns them.
  virtual Ref<Listbox> NewListbox() = 0;
  virtual Ref<Label> NewLabel() = 0;
};

// The current desktop's message box, alert sound and Option key.
void MsgBox(const String& text);
void Beep();
namespace Keyboard {
bool OptionKey();
}  // namespace Keyboard

// The text of one Unicode code point in UTF-8, the form in which key events deliver keys:
// Chr(8) is Backspace, Chr(127) forward delete. Empty for a value that is no code point.
String Chr(std::uint32_t codePoint);

}  // namespace toolkit
