#include "platform/storekit/SKReceiptRefreshRequestMBS.h"

#include "platform/toolkit/Desktop.h"

using toolkit::Ref;

SKReceiptRefreshRequestMBS::SKReceiptRefreshRequestMBS(const Ref<toolkit::Dictionary>& properties)
    : properties_(properties), self_(std::make_shared<SKReceiptRefreshRequestMBS*>(this)) {}

SKReceiptRefreshRequestMBS::~SKReceiptRefreshRequestMBS() {
  *self_ = nullptr;
}

void SKReceiptRefreshRequestMBS::start() {
  if (state_ != State::Idle) return;
  toolkit::EventLoop& loop = toolkit::Desktop::Current().Loop();
  const std::weak_ptr<SKReceiptRefreshRequestMBS*> weak = self_;
  loop.Post([weak] {
    const auto cell = weak.lock();
    if (cell && *cell != nullptr) (*cell)->Deliver();
  });
  state_ = State::Sent;
}

void SKReceiptRefreshRequestMBS::cancel() {
  if (state_ == State::Sent) state_ = State::Cancelled;
}

void SKReceiptRefreshRequestMBS::Deliver() {
  const bool cancelled = state_ == State::Cancelled;
  state_ = State::Done;
  const auto error = cancelled
                         ? Ref<NSErrorMBS>::New("NSCocoaErrorDomain", kErrorCancelled,
                                                "The request was cancelled.")
                         : Ref<NSErrorMBS>::New("SKErrorDomain", kErrorStoreUnavailable,
                                                "The App Store is not available on this system.");
  Event_didFailWithError(error);
}
