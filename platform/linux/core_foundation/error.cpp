#include "platform/linux/core_foundation/error.hpp"

#include <cstring>

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

struct Error : Object {
  static constexpr Type type_of = Type::error;
  Error(CFErrorDomain domain_, CFIndex code_, CFDictionaryRef info_)
      : Object(type_of, plain), domain(domain_), code(code_), info(info_) {}

  const Owner<CFStringRef> domain;
  const CFIndex code;
  const Owner<CFDictionaryRef> info;
};

bool equal_errors(const Object* object, CFTypeRef other_ref) {
  const auto* error = static_cast<const Error*>(object);
  const auto other = static_cast<CFErrorRef>(const_cast<void*>(other_ref));
  Owner<CFDictionaryRef> info(CFErrorCopyUserInfo(other));
  return error->code == CFErrorGetCode(other) &&
         CFEqual(error->domain.get(), CFErrorGetDomain(other)) &&
         CFEqual(error->info.get(), info.get());
}

CFHashCode hash_error(const Object* object) {
  return static_cast<CFHashCode>(CFErrorGetCode(as_ref<CFErrorRef>(object)));
}

CFStringRef describe_error(const Object* object) {
  return CFErrorCopyDescription(as_ref<CFErrorRef>(object));
}

/// A text (+1) of the information, or null.
CFStringRef copy_text(CFErrorRef ref, CFStringRef key) {
  Owner<CFDictionaryRef> info(CFErrorCopyUserInfo(ref));
  const void* value = CFDictionaryGetValue(info.get(), key);
  if (!value || CFGetTypeID(value) != CFStringGetTypeID()) return nullptr;
  return static_cast<CFStringRef>(CFRetain(value));
}

}  // namespace

const TypeOperations error_operations{"CFError", destroy<Error>, equal_errors, hash_error,
                                      describe_error};

CFErrorRef make_error(CFErrorDomain domain, CFIndex code, std::string_view message) {
  Owner<CFStringRef> text(make_string_from_utf8(message));
  if (!text) text = Owner<CFStringRef>(CFSTR("an error whose text is not valid UTF-8"));
  const void* keys[] = {kCFErrorLocalizedDescriptionKey};
  const void* values[] = {text.get()};
  Owner<CFDictionaryRef> info(CFDictionaryCreate(
      nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  return CFErrorCreate(nullptr, domain, code, info.get());
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFErrorGetTypeID(void) {
  return static_cast<CFTypeID>(Type::error);
}

CFErrorRef CFErrorCreate(CFAllocatorRef, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef userInfo) {
  if (!domain) return nullptr;
  CFDictionaryRef info =
      userInfo ? CFDictionaryCreateCopy(nullptr, userInfo)
               : CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                    &kCFTypeDictionaryValueCallBacks);
  return as_ref<CFErrorRef>(make<Error>(0, CFStringCreateCopy(nullptr, domain), code, info));
}

CFErrorDomain CFErrorGetDomain(CFErrorRef ref) {
  if (auto* table = foreign(ref)) return table->error_domain(ref);
  const Error* error = own<Error>(ref);
  return error ? error->domain.get() : nullptr;
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
  if (CFStringRef text = copy_text(ref, kCFErrorLocalizedDescriptionKey)) return text;
  if (CFStringRef text = copy_text(ref, kCFErrorDescriptionKey)) return text;
  const CFErrorDomain domain = CFErrorGetDomain(ref);
  const CFIndex code = CFErrorGetCode(ref);
  if (domain && CFEqual(domain, kCFErrorDomainPOSIX))
    return make_string_from_utf8(std::strerror(static_cast<int>(code)));
  return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ error %ld"), domain,
                                  static_cast<long>(code));
}

CFStringRef CFErrorCopyFailureReason(CFErrorRef ref) {
  return copy_text(ref, kCFErrorLocalizedFailureReasonKey);
}
