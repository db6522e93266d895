#include <gtest/gtest.h>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "platform/toolkit/Ref.h"

namespace toolkit {
namespace {

class Counted : public Object {
 public:
  explicit Counted(int* destroyed) : destroyed_(destroyed) {}
  ~Counted() override { ++*destroyed_; }
  int value = 7;

 private:
  int* destroyed_;
};

TEST(RefTest, NilRaisesAndEqualityIsIdentityAcrossClasses) {
  int destroyed = 0;
  const Ref<Counted> nil;
  EXPECT_THROW(static_cast<void>(nil->value), NilObjectException);
  EXPECT_THROW(static_cast<void>(*nil), NilObjectException);
  const auto a = Ref<Counted>::New(&destroyed);
  const Ref<Object> upcast = a;
  EXPECT_TRUE(a == upcast);
  EXPECT_FALSE(a == Ref<Counted>::New(&destroyed));
  EXPECT_FALSE(a == nullptr);
  EXPECT_TRUE(nil == Ref<MemoryBlock>());
}

TEST(RefTest, AsGivesNilForAnotherClass) {
  const Ref<Object> block = Ref<MemoryBlock>::New(4);
  EXPECT_EQ(block.As<MemoryBlock>()->Size(), 4);
  EXPECT_TRUE(block.As<Dictionary>().IsNil());
  EXPECT_TRUE(Ref<Object>().As<MemoryBlock>().IsNil());
}

TEST(RefTest, ObjectIsDestroyedOnceWithItsLastRef) {
  int destroyed = 0;
  {
    auto first = Ref<Counted>::New(&destroyed);
    const Ref<Object> second = first;
    first = nullptr;
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace toolkit
