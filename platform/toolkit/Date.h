#pragma once

#include <cstdint>

#include "platform/toolkit/Ref.h"

namespace toolkit {

// A moment, shown in a time zone. `TotalSeconds` counts seconds from 1904-01-01 00:00 in the
// Date's own zone, `GMTOffset` is that zone's offset from GMT in hours. Changing the offset
// keeps the moment and moves the wall clock (and so `TotalSeconds`); setting `TotalSeconds`
// moves the moment. With a GMTOffset of 0, TotalSeconds counts from 1904-01-01 00:00 GMT.
class Date : public Object {
 public:
  // Now, in the machine's current time zone.
  Date();
  // The moment `totalSeconds` after 1904-01-01 00:00 in a zone `gmtOffset` hours east of GMT.
  Date(double totalSeconds, double gmtOffset);

  double TotalSeconds() const { return secondsGMT_ + gmtOffset_ * 3600.0; }
  void TotalSeconds(double value) { secondsGMT_ = value - gmtOffset_ * 3600.0; }
  double GMTOffset() const { return gmtOffset_; }
  void GMTOffset(double hours) { gmtOffset_ = hours; }

  // The wall clock in the Date's zone.
  int Year() const;
  int Month() const;
  int Day() const;
  int Hour() const;
  int Minute() const;
  int Second() const;

 private:
  double secondsGMT_ = 0;  // from 1904-01-01 00:00 GMT
  double gmtOffset_ = 0;
};

}  // namespace toolkit
