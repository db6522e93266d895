#include "app/ReceiptRequester.h"

#include "platform/toolkit/Desktop.h"

void ReceiptRequester::Event_didFinish() {
  toolkit::MsgBox("Refresh succeeded");
}

void ReceiptRequester::Event_didFailWithError(const toolkit::Ref<NSErrorMBS>& error) {
  (void)error;
  toolkit::MsgBox("Refresh failed");
}
