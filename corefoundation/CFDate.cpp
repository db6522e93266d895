#include "corefoundation/CFDate.h"

#include <cstring>

#include "corefoundation/Carbon.h"
#include "corefoundation/FetchedOnce.h"
#include "platform/cf/CFDate.h"

namespace CoreFoundation {

namespace {

// Puts a Date's GMTOffset back when it goes, also when an exception passes.
class OffsetRestorer {
 public:
  explicit OffsetRestorer(Date& d) : date_(d), saved_(d.GMTOffset()) {}
  OffsetRestorer(const OffsetRestorer&) = delete;
  OffsetRestorer& operator=(const OffsetRestorer&) = delete;
  ~OffsetRestorer() { date_.GMTOffset(saved_); }

 private:
  Date& date_;
  double saved_;
};

}  // namespace

Ref<CFDate> CFDate::New(Ptr ref, bool hasOwnership) {
  return Make<CFDate>(ref, hasOwnership);
}

Ref<CFDate> CFDate::New() {
  return Make<CFDate>();
}

Ref<CFDate> CFDate::New(const Ref<Date>& d) {
  return Make<CFDate>(d);
}

Ref<CFDate> CFDate::New(double absoluteTime) {
  return Make<CFDate>(absoluteTime);
}

Ref<CFDate> CFDate::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFDate>(source);
}

std::uint32_t CFDate::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFDateGetTypeID()); });
}

double CFDate::CurrentAbsoluteTime() {
  return CFAbsoluteTimeGetCurrent();
}

double CFDate::AbsoluteTimeIntervalSince1904() {
  static FetchedOnce<double> value;
  return value.Get([](double& kept) {
    const Ptr address =
        Carbon::Bundle()->DataPointerNotRetained("kCFAbsoluteTimeIntervalSince1904");
    if (address != nullptr) std::memcpy(&kept, address, sizeof kept);
  });
}

void CFDate::Constructor() {
  Constructor(CurrentAbsoluteTime());
}

void CFDate::Constructor(const Ref<Date>& given) {
  const Ref<Date> d = given.IsNil() ? Ref<Date>::New() : given;
  // The Date is read at GMTOffset 0 and given its own offset back afterwards.
  const OffsetRestorer restore(*d);
  d->GMTOffset(0);
  Constructor(d->TotalSeconds() - AbsoluteTimeIntervalSince1904());
}

void CFDate::Constructor(double absoluteTime) {
  Constructor(CFDateCreate(nullptr, absoluteTime), true);
}

double CFDate::AbsoluteTime() const {
  if (Operator_Compare(nullptr) == 0) return 0;
  return CFDateGetAbsoluteTime(static_cast<CFDateRef>(Reference()));
}

CFDate::operator Ref<Date>() const {
  auto d = Ref<Date>::New();
  const OffsetRestorer restore(*d);
  d->GMTOffset(0);
  d->TotalSeconds(AbsoluteTime() + AbsoluteTimeIntervalSince1904());
  return d;
}

}  // namespace CoreFoundation
