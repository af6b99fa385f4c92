#include "platform/linux/core_foundation/error.hpp"

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

struct Error : Object {
  static constexpr Type type_of = Type::error;
  Error(CFIndex code_, CFDictionaryRef info_) : Object(type_of, plain), code(code_), info(info_) {}

  const CFIndex code;
  const Owner<CFDictionaryRef> info;
};

// Foundation's name for the text in the information.
const CFStringRef description_key = CFSTR("NSLocalizedDescription");

bool equal_errors(const Object* object, CFTypeRef other_ref) {
  const auto* error = static_cast<const Error*>(object);
  const auto other = static_cast<CFErrorRef>(const_cast<void*>(other_ref));
  const Owner<CFDictionaryRef> info(CFErrorCopyUserInfo(other));
  return error->code == CFErrorGetCode(other) &&
         CFEqual(CFErrorGetDomain(as_ref<CFErrorRef>(object)), CFErrorGetDomain(other)) &&
         CFEqual(error->info.get(), info.get());
}

CFHashCode hash_error(const Object* object) {
  return static_cast<CFHashCode>(CFErrorGetCode(as_ref<CFErrorRef>(object)));
}

CFStringRef describe_error(const Object* object) {
  return CFErrorCopyDescription(as_ref<CFErrorRef>(object));
}

}  // namespace

const TypeOperations error_operations{"CFError", destroy<Error>, equal_errors, hash_error,
                                      describe_error};

CFErrorRef make_error(CFIndex code, std::string_view message) {
  Owner<CFStringRef> text(make_string_from_utf8(message));
  if (!text) text = Owner<CFStringRef>(CFSTR("an error whose text is not valid UTF-8"));
  const void* keys[] = {description_key};
  const void* values[] = {text.get()};
  return as_ref<CFErrorRef>(
      make<Error>(0, code,
                  CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks,
                                     &kCFTypeDictionaryValueCallBacks)));
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFErrorGetTypeID(void) {
  return static_cast<CFTypeID>(Type::error);
}

CFErrorDomain CFErrorGetDomain(CFErrorRef ref) {
  if (auto* table = foreign(ref)) return table->error_domain(ref);
  return CFSTR("NSCocoaErrorDomain");
}

CFIndex CFErrorGetCode(CFErrorRef ref) {
  if (auto* table = foreign(ref)) return table->error_code(ref);
  const Error* error = own<Error>(ref);
  return error ? error->code : 0;
}

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef ref) {
  if (auto* table = foreign(ref)) return table->error_copy_user_info(ref);
  const Error* error = own<Error>(ref);
  return error ? static_cast<CFDictionaryRef>(CFRetain(error->info.get()))
               : CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr);
}

CFStringRef CFErrorCopyDescription(CFErrorRef ref) {
  const Owner<CFDictionaryRef> info(CFErrorCopyUserInfo(ref));
  const void* text = CFDictionaryGetValue(info.get(), description_key);
  if (text && CFGetTypeID(text) == CFStringGetTypeID())
    return static_cast<CFStringRef>(CFRetain(text));
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ error %ld"), CFErrorGetDomain(ref),
                                  static_cast<long>(CFErrorGetCode(ref)));
}
