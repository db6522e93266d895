#include <gtest/gtest.h>

#include <type_traits>

#include "platform/toolkit/Dictionary.h"
#include "platform/toolkit/MemoryBlock.h"
#include "platform/toolkit/Ref.h"

namespace toolkit {
namespace {

// The program's catch blocks each name one class, so every failure is its own RuntimeException.
static_assert(std::is_base_of_v<RuntimeException, NilObjectException> &&
              std::is_base_of_v<RuntimeException, FunctionNotFoundException> &&
              std::is_base_of_v<RuntimeException, TypeMismatchException> &&
              std::is_base_of_v<RuntimeException, OutOfBoundsException> &&
              std::is_base_of_v<RuntimeException, KeyNotFoundException> &&
              std::is_base_of_v<RuntimeException, IOException> &&
              !std::is_base_of_v<OutOfBoundsException, KeyNotFoundException>);

class Counted : public Object {
 public:
  explicit Counted(int* destroyed) : destroyed_(destroyed) {}
  ~Counted() override { ++*destroyed_; }
  int value = 7;

 private:
  int* destroyed_;
};

TEST(RefTest, NilRaisesNilObjectException) {
  const Ref<Counted> nil;
  EXPECT_TRUE(nil.IsNil());
  EXPECT_THROW(static_cast<void>(nil->value), NilObjectException);
  EXPECT_THROW(static_cast<void>(*nil), NilObjectException);
}

TEST(RefTest, EqualityIsIdentityNotContents) {
  int destroyed = 0;
  const auto a = Ref<Counted>::New(&destroyed);
  const Ref<Object> upcast = a;
  EXPECT_TRUE(a == upcast);
  EXPECT_FALSE(a == Ref<Counted>::New(&destroyed));
  EXPECT_FALSE(a == nullptr);
  EXPECT_TRUE(Ref<Counted>() == nullptr);
  EXPECT_TRUE(Ref<Counted>() == Ref<MemoryBlock>());
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
    {
      const Ref<Object> second = first;
      first = nullptr;
      EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(ExceptionsTest, FunctionNotFoundCarriesNameAndPath) {
  const FunctionNotFoundException e("CFRelease", "/usr/lib/libCF.so");
  EXPECT_EQ(e.FunctionName(), "CFRelease");
  EXPECT_EQ(e.LibraryPath(), "/usr/lib/libCF.so");
  EXPECT_NE(e.Message().find("CFRelease"), std::string::npos);
  EXPECT_NE(e.Message().find("/usr/lib/libCF.so"), std::string::npos);
}

}  // namespace
}  // namespace toolkit
