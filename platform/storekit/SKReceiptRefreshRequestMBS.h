#pragma once

#include <memory>

#include "platform/storekit/NSErrorMBS.h"
#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/Ref.h"

// A request to the store to refresh the receipt of the running application.
//
// This system has no store: a started request always fails, with the error
// SKErrorDomain / kErrorStoreUnavailable. The outcome never arrives inside start(): it comes
// later, as a task of the current desktop's event loop, and for each started request exactly
// one of the two events arrives, unless the request has died by then.
class SKReceiptRefreshRequestMBS : public toolkit::Object {
 public:
  static constexpr std::int64_t kErrorStoreUnavailable = 0;  // SKErrorUnknown
  static constexpr std::int64_t kErrorCancelled = 3072;      // NSUserCancelledError

  // Makes the request. `properties` would ask the store for a receipt with test properties;
  // there is no store to ask, so they are kept but not used. Nil asks for none.
  explicit SKReceiptRefreshRequestMBS(
      const toolkit::Ref<toolkit::Dictionary>& properties = nullptr);
  ~SKReceiptRefreshRequestMBS() override;

  // Sends the request and returns at once. A request is sent once: a second start does
  // nothing. NilObjectException when no desktop is installed, with the request still unsent.
  void start();
  // Gives up a request that has been sent and has no outcome yet: its outcome becomes the
  // failure NSCocoaErrorDomain / kErrorCancelled. Anything else does nothing.
  void cancel();

  bool Started() const { return state_ != State::Idle; }
  const toolkit::Ref<toolkit::Dictionary>& Properties() const { return properties_; }

 protected:
  // The store has refreshed the receipt.
  virtual void Event_didFinish() {}
  // The request failed; `error` says why.
  virtual void Event_didFailWithError(const toolkit::Ref<NSErrorMBS>& error) { (void)error; }

 private:
  enum class State { Idle, Sent, Cancelled, Done };

  void Deliver();

  toolkit::Ref<toolkit::Dictionary> properties_;
  State state_ = State::Idle;
  // The outcome task reaches the request through this cell, which the destructor clears.
  std::shared_ptr<SKReceiptRefreshRequestMBS*> self_;
};
