#pragma once

#include "platform/storekit/SKReceiptRefreshRequestMBS.h"

// The window's request to refresh the receipt. Its outcome is told in a message box; the
// error isn't read, and nothing else changes.
class ReceiptRequester : public SKReceiptRefreshRequestMBS {
 public:
  explicit ReceiptRequester(const toolkit::Ref<toolkit::Dictionary>& properties)
      : SKReceiptRefreshRequestMBS(properties) {}

 protected:
  void Event_didFinish() override;
  void Event_didFailWithError(const toolkit::Ref<NSErrorMBS>& error) override;
};
