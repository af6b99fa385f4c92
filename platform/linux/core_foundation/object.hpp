#pragma once

/// What all CoreFoundation objects of the layer share: header, type ids, reference counts, and the
/// two places where an Objective-C runtime can be joined to them later.
///
/// An object is a plain structure that begins with `Object`; there are no virtual functions, since
/// the first word is kept for an Objective-C class pointer. That word is null in a process without
/// Objective-C. A module that brings Objective-C calls `vesk_cf_join_objective_c` once, and from
/// then on
/// - every live object and every later one carries the class that the module named for its type, so
///   that it can be sent messages wherever it was made;
/// - an object whose first word is set and is none of these classes is foreign, and each call of
///   CoreFoundation hands it to the module's `CFForeignObjects`.
///
/// Live objects are found through a list that runs through all of them: two words an object and
/// one uncontended lock at its birth and death, next to the allocator's own.
///
/// What CFSTR names is laid out by the compiler (`Literal`). Its first word is the address of
/// `__CFConstantStringClassReference` from the start, and nobody could find the literals of all
/// loaded libraries to change it: so the module makes a class that lies at that very address.

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

extern "C" {

/// What a module does for objects that are not the layer's. All members are set; each may be
/// called from any thread, and answers as the call of CoreFoundation that it is named after.
/// Mutating members act on objects that can be changed and ignore the others.
struct CFForeignObjects {
  CFTypeID (*type_id)(CFTypeRef object);  ///< The id of the nearest type here, 0 for none.
  CFTypeRef (*retain)(CFTypeRef object);
  void (*release)(CFTypeRef object);
  CFIndex (*retain_count)(CFTypeRef object);
  /// Both foreign. A foreign object and one of ours are compared here, through these functions.
  Boolean (*equal)(CFTypeRef first, CFTypeRef second);
  /// Only for objects whose `type_id` is 0: the others are hashed here, as ours are, so that both
  /// find the same place in a dictionary.
  CFHashCode (*hash)(CFTypeRef object);
  CFStringRef (*copy_description)(CFTypeRef object);

  CFIndex (*string_length)(CFStringRef string);
  void (*string_get_characters)(CFStringRef string, CFRange range, UniChar* units);
  void (*string_replace)(CFMutableStringRef string, CFRange range, const UniChar* units,
                         CFIndex count);

  CFIndex (*data_length)(CFDataRef data);
  const UInt8* (*data_bytes)(CFDataRef data);
  UInt8* (*data_mutable_bytes)(CFMutableDataRef data);
  void (*data_set_length)(CFMutableDataRef data, CFIndex length);

  /// `type` tells how the number is kept; an unsigned value above INT64_MAX says SInt64 and is
  /// marked by `number_is_unsigned`, its bits given as SInt64.
  CFNumberType (*number_type)(CFNumberRef number);
  Boolean (*number_is_unsigned)(CFNumberRef number);
  Boolean (*number_get)(CFNumberRef number, CFNumberType type, void* value);
  Boolean (*boolean_value)(CFBooleanRef boolean);
  CFAbsoluteTime (*date_time)(CFDateRef date);

  CFIndex (*array_count)(CFArrayRef array);
  const void* (*array_value)(CFArrayRef array, CFIndex index);
  /// Replaces `range` by `count` values: insertion, removal, exchange.
  void (*array_replace)(CFMutableArrayRef array, CFRange range, const void** values, CFIndex count);

  CFIndex (*dictionary_count)(CFDictionaryRef dictionary);
  Boolean (*dictionary_get)(CFDictionaryRef dictionary, const void* key, const void** value);
  void (*dictionary_get_all)(CFDictionaryRef dictionary, const void** keys, const void** values);
  void (*dictionary_set)(CFMutableDictionaryRef dictionary, const void* key, const void* value);
  void (*dictionary_remove)(CFMutableDictionaryRef dictionary, const void* key);

  /// The whole text with its escapes (Get rule), resolved against the base if there is one.
  CFStringRef (*url_string)(CFURLRef url);

  CFStringRef (*error_domain)(CFErrorRef error);
  CFIndex (*error_code)(CFErrorRef error);
  CFDictionaryRef (*error_copy_user_info)(CFErrorRef error);
};

/// The class pointers for one type: for objects that do not change, and for those that can be.
/// Null leaves the objects of the type without a class.
struct CFObjectClasses {
  CFTypeID type;
  const void* immutable_class;
  const void* mutable_class;
};

/// Gives every object its class and lets foreign objects in. Once a process, from the main thread;
/// other threads may use and make objects meanwhile. `foreign` lives as long as the process.
CF_EXPORT void vesk_cf_join_objective_c(const CFForeignObjects* foreign,
                                        const CFObjectClasses* classes, CFIndex count);

/// Room for the class of all literals, which their first word points to.
CF_EXPORT void* __CFConstantStringClassReference[32];
}

namespace vesk::platform::cf {

/// The values of CFTypeID; 0 is no type.
enum class Type : std::uint16_t {
  literal,  ///< A string that the compiler laid out. No answer of CFGetTypeID.
  string,
  data,
  number,
  boolean,
  date,
  array,
  dictionary,
  url,
  error,
  bundle,
  run_loop,
  run_loop_timer,
  count
};

enum Flags : std::uint16_t {
  plain = 0,
  constant = 1,    ///< Not counted, never freed.
  changeable = 2,  ///< Made by one of the ...CreateMutable functions.
};

struct Object {
  constexpr Object(Type type_, std::uint16_t flags_) : type(type_), flags(flags_) {}
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  std::atomic<const void*> isa{nullptr};
  std::atomic<std::uint32_t> references{1};
  const Type type;
  const std::uint16_t flags;
  // The list of live objects, guarded by its lock. The links are kept inverted: plain pointers
  // would make every object reachable, and no leak checker could see one that was forgotten.
  std::uintptr_t previous = ~std::uintptr_t{0};
  std::uintptr_t next = ~std::uintptr_t{0};

  bool is_constant() const { return type == Type::literal || (flags & constant) != 0; }
  bool is_changeable() const { return (flags & changeable) != 0; }
};

/// What clang makes of CFSTR on ELF, seen as an `Object` as far as its flags: what is a reference
/// count there holds its form, the type and the flags are 0. In memory that is not to be written.
struct Literal {
  enum Form : std::uint32_t { ascii = 0x7c8, utf16 = 0x7d0 };
  const void* isa;
  std::uint32_t form;
  std::uint32_t zero;
  const void* characters;  ///< With a NUL behind them.
  std::int64_t length;     ///< In units of the form.
};
static_assert(sizeof(Literal) == 32 && offsetof(Literal, zero) == 12);

/// What differs between types. `destroy` ends the object and frees its memory; the others may be
/// null: then identity is equality, and the type's name the description. `hash`, and `equal` for
/// its second argument, go through the calls of CoreFoundation, since the object may be foreign.
struct TypeOperations {
  const char* name;
  void (*destroy)(Object*);
  bool (*equal)(const Object*, CFTypeRef other);
  CFHashCode (*hash)(const Object*);
  CFStringRef (*describe)(const Object*);
};

extern const TypeOperations string_operations, data_operations, number_operations,
    boolean_operations, date_operations, array_operations, dictionary_operations, url_operations,
    error_operations, bundle_operations, run_loop_operations, run_loop_timer_operations;

/// A text (+1) for people that describes any object: a string's own, a number's digits.
CFStringRef copy_description(CFTypeRef object);

/// Puts a new object into the list of live ones and gives it its class.
void enlist(Object* object);

/// Makes an object of a type whose structure has `T::type`, with `extra` bytes behind it.
template <class T, class... Arguments>
T* make(std::size_t extra, Arguments&&... arguments) {
  void* memory = ::operator new(sizeof(T) + extra);
  T* object = new (memory) T(std::forward<Arguments>(arguments)...);
  enlist(object);
  return object;
}

template <class T>
void destroy(Object* object) {
  static_cast<T*>(object)->~T();
  ::operator delete(object);
}

extern std::atomic<const CFForeignObjects*> foreign_objects;
bool is_class_of_ours(const void* isa);

/// The module's table when `object` is foreign, else null. Null is not foreign.
inline const CFForeignObjects* foreign(CFTypeRef object) {
  const CFForeignObjects* table = foreign_objects.load(std::memory_order_acquire);
  if (!table || !object) [[likely]]
    return nullptr;
  const void* isa = static_cast<const Object*>(object)->isa.load(std::memory_order_relaxed);
  return isa && !is_class_of_ours(isa) ? table : nullptr;
}

/// `object` as a structure of the layer; null when it is null, foreign or of another type, so that
/// a caller's mistake about types gives the empty answer.
template <class T>
T* own(CFTypeRef object) {
  if (!object || foreign(object)) return nullptr;
  auto* candidate = static_cast<Object*>(const_cast<void*>(object));
  return candidate->type == T::type_of ? static_cast<T*>(candidate) : nullptr;
}

/// `own`, and only when the object was made to be changed.
template <class T>
T* own_changeable(CFTypeRef object) {
  T* candidate = own<T>(object);
  return candidate && candidate->is_changeable() ? candidate : nullptr;
}

template <class Ref>
Ref as_ref(const Object* object) {
  return reinterpret_cast<Ref>(const_cast<Object*>(object));
}

/// Owns one reference to an object.
template <class Ref>
class Owner {
 public:
  Owner() = default;
  explicit Owner(Ref ref) : ref_(ref) {}
  Owner(Owner&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
  Owner& operator=(Owner&& other) noexcept {
    std::swap(ref_, other.ref_);
    return *this;
  }
  ~Owner() {
    if (ref_) CFRelease(ref_);
  }
  Ref get() const { return ref_; }
  Ref release() { return std::exchange(ref_, nullptr); }
  explicit operator bool() const { return ref_ != nullptr; }

 private:
  Ref ref_ = nullptr;
};

/// What kCFType...CallBacks do; null is left alone.
const void* retain_object(CFAllocatorRef, const void* object);
void release_object(CFAllocatorRef, const void* object);

/// The booleans, which lie in static memory and not in the list of live objects.
void visit_booleans(void (*visit)(Object*));

}  // namespace vesk::platform::cf
