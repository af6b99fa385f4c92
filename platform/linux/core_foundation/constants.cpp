// Objects in static memory. They need no constructor at start, ignore CFRetain and CFRelease, and
// are reached through one list, so that a class can be given to all of them.

#include <iterator>

#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/core_foundation/values.hpp"

using namespace vesk::platform::cf;

// The structures that the public headers only name, so that the variables below are set by the
// compiler: a cast of the address would be done at start, maybe after someone's table needed it.
struct __CFAllocator : Object {
  constexpr __CFAllocator() : Object(Type::allocator, constant) {}
};
struct __CFNull : Object {
  constexpr __CFNull() : Object(Type::null, constant) {}
};
struct __CFBoolean : BooleanObject {
  using BooleanObject::BooleanObject;
};
struct __CFNumber : Number {
  using Number::Number;
};
struct __CFString : String {
  using String::String;
};

namespace {

constinit __CFAllocator system_allocator, malloc_allocator, null_allocator;
constinit __CFNull null_object;
constinit __CFBoolean true_object{true}, false_object{false};
constinit __CFNumber positive_infinity{__builtin_inf()}, negative_infinity{-__builtin_inf()},
    not_a_number{__builtin_nan("")};

// Every constant text: one line here gives the object and the variable.
#define CONSTANT_STRINGS(X)                                                               \
  X(CFRunLoopMode, kCFRunLoopDefaultMode, "kCFRunLoopDefaultMode")                        \
  X(CFRunLoopMode, kCFRunLoopCommonModes, "kCFRunLoopCommonModes")                        \
  X(CFErrorDomain, kCFErrorDomainPOSIX, "NSPOSIXErrorDomain")                             \
  X(CFErrorDomain, kCFErrorDomainOSStatus, "NSOSStatusErrorDomain")                       \
  X(CFErrorDomain, kCFErrorDomainMach, "NSMachErrorDomain")                               \
  X(CFErrorDomain, kCFErrorDomainCocoa, "NSCocoaErrorDomain")                             \
  X(CFStringRef, kCFErrorLocalizedDescriptionKey, "NSLocalizedDescription")               \
  X(CFStringRef, kCFErrorLocalizedFailureReasonKey, "NSLocalizedFailureReason")           \
  X(CFStringRef, kCFErrorLocalizedRecoverySuggestionKey, "NSLocalizedRecoverySuggestion") \
  X(CFStringRef, kCFErrorDescriptionKey, "NSDescription")                                 \
  X(CFStringRef, kCFErrorUnderlyingErrorKey, "NSUnderlyingError")                         \
  X(CFStringRef, kCFErrorURLKey, "NSURL")                                                 \
  X(CFStringRef, kCFErrorFilePathKey, "NSFilePath")                                       \
  X(CFStringRef, kCFStreamPropertyDataWritten, "kCFStreamPropertyDataWritten")            \
  X(CFStringRef, kCFBundleInfoDictionaryVersionKey, "CFBundleInfoDictionaryVersion")      \
  X(CFStringRef, kCFBundleExecutableKey, "CFBundleExecutable")                            \
  X(CFStringRef, kCFBundleIdentifierKey, "CFBundleIdentifier")                            \
  X(CFStringRef, kCFBundleVersionKey, "CFBundleVersion")                                  \
  X(CFStringRef, kCFBundleNameKey, "CFBundleName")

#define OBJECT(type, name, text) constinit __CFString name##_object{text, sizeof(text) - 1};
CONSTANT_STRINGS(OBJECT)

}  // namespace

extern "C" {
#define VARIABLE(type, name, text) \
  extern const type name;          \
  const type name = &name##_object;
CONSTANT_STRINGS(VARIABLE)

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = &system_allocator;
const CFAllocatorRef kCFAllocatorMalloc = &malloc_allocator;
const CFAllocatorRef kCFAllocatorNull = &null_allocator;
const CFNullRef kCFNull = &null_object;
const CFBooleanRef kCFBooleanTrue = &true_object;
const CFBooleanRef kCFBooleanFalse = &false_object;
const CFNumberRef kCFNumberPositiveInfinity = &positive_infinity;
const CFNumberRef kCFNumberNegativeInfinity = &negative_infinity;
const CFNumberRef kCFNumberNaN = &not_a_number;
}

void vesk::platform::cf::visit_constants(void (*visit)(Object*)) {
#define ADDRESS(type, name, text) &name##_object,
  Object* const constants[] = {CONSTANT_STRINGS(ADDRESS) & system_allocator,
                               &malloc_allocator,
                               &null_allocator,
                               &null_object,
                               &true_object,
                               &false_object,
                               &positive_infinity,
                               &negative_infinity,
                               &not_a_number};
  for (Object* object : constants) visit(object);
}
