#include "corefoundation/CFArray.h"

#include <cstring>

#include "corefoundation/CFBundle.h"
#include "corefoundation/CFString.h"
#include "corefoundation/FetchedOnce.h"
#include "platform/cf/CFArray.h"
#include "platform/cf/CFString.h"
#include "platform/toolkit/Exceptions.h"
#include "platform/toolkit/VariantArray.h"

namespace CoreFoundation {

Ref<CFArray> CFArray::New(Ptr ref, bool hasOwnership) {
  return Make<CFArray>(ref, hasOwnership);
}

Ref<CFArray> CFArray::New(const std::vector<Ref<CFType>>& values) {
  return Make<CFArray>(values);
}

Ref<CFArray> CFArray::New(const std::vector<String>& strings) {
  return Make<CFArray>(strings);
}

Ref<CFArray> CFArray::New(const Ref<CFObjectMBS>& source) {
  return MakeFrom<CFArray>(source);
}

std::uint32_t CFArray::ClassID() {
  static FetchedOnce<std::uint32_t> id;
  return id.Get([] { return static_cast<std::uint32_t>(CFArrayGetTypeID()); });
}

Ptr CFArray::DefaultCallbacks() {
  static FetchedOnce<Ptr> callbacks;
  return callbacks.Get([] {
    // Kept for the process, like the platform keeps the framework loaded.
    static const auto* const bundle =
        new Ref<CFBundle>(CFBundle::NewCFBundleFromID("com.apple.CoreFoundation"));
    return (*bundle)->DataPointerNotRetained("kCFTypeArrayCallBacks");
  });
}

Ref<MemoryBlock> CFArray::GetValuesAsCArray(const std::vector<Ref<CFType>>& values) const {
  if (values.empty()) return nullptr;
  auto block = Ref<MemoryBlock>::New(values.size() * sizeof(Ptr));
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Ptr ref = ElementReference(values[i]);
    std::memcpy(block->Data() + i * sizeof(Ptr), &ref, sizeof ref);
  }
  return block;
}

void CFArray::Constructor(const std::vector<Ref<CFType>>& values) {
  const auto callbacks = static_cast<const CFArrayCallBacks*>(DefaultCallbacks());
  CFArrayRef array = nullptr;
  if (values.empty()) {
    array = CFArrayCreate(nullptr, nullptr, 0, callbacks);
  } else {
    // The platform copies the pointers, so the block may go once the call has returned.
    const Ref<MemoryBlock> block = GetValuesAsCArray(values);
    array = CFArrayCreate(nullptr, reinterpret_cast<const void**>(block->Data()),
                          static_cast<CFIndex>(values.size()), callbacks);
  }
  Constructor(array, true);
}

void CFArray::Constructor(const std::vector<String>& strings) {
  std::vector<Ref<CFType>> values;
  values.reserve(strings.size());
  for (const String& s : strings) {
    Ref<CFString> string = CFString::New(toolkit::StringToCFString(s));
    // The conversion gives no reference for the empty String; the element is still a string.
    if (string->Operator_Compare(nullptr) == 0)
      string = CFString::New(
          CFStringCreateWithBytes(nullptr, nullptr, 0, kCFStringEncodingUTF8, false), true);
    values.push_back(string);
  }
  Constructor(values);
}

Ref<CFArray> CFArray::Clone() const {
  if (Operator_Compare(nullptr) == 0) return Make<CFArray>(Ptr{nullptr}, false);
  return New(CFArrayCreateCopy(nullptr, static_cast<CFArrayRef>(Reference())), true);
}

Ptr CFArray::Value(std::int64_t index) const {
  if (Operator_Compare(nullptr) == 0) return nullptr;
  if (index < 0 || index >= Count()) throw toolkit::OutOfBoundsException();
  return CFArrayGetValueAtIndex(static_cast<CFArrayRef>(Reference()), static_cast<CFIndex>(index));
}

std::int64_t CFArray::Count() const {
  if (Operator_Compare(nullptr) == 0) return 0;
  return CFArrayGetCount(static_cast<CFArrayRef>(Reference()));
}

Variant CFArray::Event_VariantValue() const {
  auto array = Ref<toolkit::VariantArray>::New();
  const std::int64_t count = Count();
  for (std::int64_t i = 0; i < count; ++i) {
    array->Append(NewObject(Value(i), false, 0)->VariantValue());
  }
  return array;
}

std::vector<String> CFArray::StringValues() const {
  const auto array = VariantValue().As<toolkit::VariantArray>();
  std::vector<String> strings;
  if (array.IsNil()) throw toolkit::TypeMismatchException();
  for (const Variant& value : array->Values())
    strings.push_back(value.StringValue());
  return strings;
}

namespace CFArrayExtension {

Ref<CFType> CFValue(const Ref<CFArray>& a, std::int64_t index) {
  return CFType::NewObject(a->Value(index), false, 0);
}

}  // namespace CFArrayExtension

}  // namespace CoreFoundation
