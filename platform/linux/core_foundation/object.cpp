#include "platform/linux/core_foundation/object.hpp"

#include <array>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace vesk::platform::cf {

std::atomic<const CFForeignObjects*> foreign_objects{nullptr};

namespace {

constexpr std::array<const TypeOperations*, static_cast<std::size_t>(Type::count)> operations{
    &string_operations,  // of literals
    &string_operations, &data_operations,   &number_operations,     &boolean_operations,
    &date_operations,   &array_operations,  &dictionary_operations, &url_operations,
    &error_operations,  &bundle_operations, &run_loop_operations,   &run_loop_timer_operations,
};

const TypeOperations& operations_of(const Object* object) {
  return *operations[static_cast<std::size_t>(object->type)];
}

constinit std::mutex live_mutex;
constinit std::uintptr_t live_objects = ~std::uintptr_t{0};  // inverted, as the links are

// Two slots a type: objects that do not change, objects that can. Written once, before
// `foreign_objects` is published with release order; objects are given their class under the lock.
constinit std::array<std::atomic<const void*>, 2 * static_cast<std::size_t>(Type::count)> classes{};

std::size_t class_slot(Type type, bool is_changeable) {
  return 2 * static_cast<std::size_t>(type) + (is_changeable ? 1 : 0);
}

void set_class(Object* object) {
  object->isa.store(
      classes[class_slot(object->type, object->is_changeable())].load(std::memory_order_relaxed),
      std::memory_order_relaxed);
}

Object* linked(std::uintptr_t link) {
  return reinterpret_cast<Object*>(~link);
}
std::uintptr_t link_to(Object* object) {
  return ~reinterpret_cast<std::uintptr_t>(object);
}

void withdraw(Object* object) {
  std::lock_guard lock(live_mutex);
  Object* previous = linked(object->previous);
  Object* next = linked(object->next);
  (previous ? previous->next : live_objects) = object->next;
  if (next) next->previous = object->previous;
}

}  // namespace

void enlist(Object* object) {
  std::lock_guard lock(live_mutex);
  object->next = live_objects;
  if (Object* next = linked(live_objects)) next->previous = link_to(object);
  live_objects = link_to(object);
  set_class(object);
}

bool is_class_of_ours(const void* isa) {
  if (isa == __CFConstantStringClassReference) return true;
  for (const auto& known : classes)
    if (known.load(std::memory_order_relaxed) == isa) return true;
  return false;
}

CFStringRef copy_description(CFTypeRef ref) {
  if (!ref) return CFSTR("(null)");
  if (auto* table = foreign(ref)) return table->copy_description(ref);
  auto* object = static_cast<const Object*>(ref);
  const TypeOperations& type = operations_of(object);
  if (type.describe) return type.describe(object);
  char text[64];
  std::snprintf(text, sizeof text, "<%s %p>", type.name, ref);
  return CFStringCreateWithCString(nullptr, text, kCFStringEncodingASCII);
}

const void* retain_object(CFAllocatorRef, const void* object) {
  return object ? CFRetain(object) : nullptr;
}
void release_object(CFAllocatorRef, const void* object) {
  if (object) CFRelease(object);
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

void* __CFConstantStringClassReference[32];

const CFAllocatorRef kCFAllocatorDefault = nullptr;

void* CFAllocatorAllocate(CFAllocatorRef, CFIndex size, CFOptionFlags) {
  return size > 0 ? std::malloc(static_cast<std::size_t>(size)) : nullptr;
}

void CFAllocatorDeallocate(CFAllocatorRef, void* bytes) {
  std::free(bytes);
}

void vesk_cf_join_objective_c(const CFForeignObjects* foreign, const CFObjectClasses* named,
                              CFIndex count) {
  std::lock_guard lock(live_mutex);
  for (CFIndex i = 0; i < count; ++i) {
    if (named[i].type == 0 || named[i].type >= static_cast<CFTypeID>(Type::count)) continue;
    const Type type = static_cast<Type>(named[i].type);
    classes[class_slot(type, false)].store(named[i].immutable_class, std::memory_order_relaxed);
    classes[class_slot(type, true)].store(named[i].mutable_class, std::memory_order_relaxed);
  }
  visit_booleans(set_class);
  for (Object* object = linked(live_objects); object; object = linked(object->next))
    set_class(object);
  foreign_objects.store(foreign, std::memory_order_release);
}

CFTypeRef CFRetain(CFTypeRef ref) {
  assert(ref && "CFRetain of NULL");
  if (!ref) return nullptr;
  if (auto* table = foreign(ref)) return table->retain(ref);
  auto* object = static_cast<Object*>(const_cast<void*>(ref));
  if (!object->is_constant()) object->references.fetch_add(1, std::memory_order_relaxed);
  return ref;
}

void CFRelease(CFTypeRef ref) {
  assert(ref && "CFRelease of NULL");
  if (!ref) return;
  if (auto* table = foreign(ref)) return table->release(ref);
  auto* object = static_cast<Object*>(const_cast<void*>(ref));
  if (object->is_constant()) return;
  // Release: what this thread did to the object happens before its end; acquire: so does what the
  // others did.
  if (object->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  withdraw(object);
  operations_of(object).destroy(object);
}

CFTypeID CFGetTypeID(CFTypeRef ref) {
  if (!ref) return 0;
  if (auto* table = foreign(ref)) return table->type_id(ref);
  const Type type = static_cast<const Object*>(ref)->type;
  return static_cast<CFTypeID>(type == Type::literal ? Type::string : type);
}

CFIndex CFGetRetainCount(CFTypeRef ref) {
  if (!ref) return 0;
  if (auto* table = foreign(ref)) return table->retain_count(ref);
  auto* object = static_cast<const Object*>(ref);
  if (object->is_constant()) return 0x7fffffff;
  return static_cast<CFIndex>(object->references.load(std::memory_order_relaxed));
}

Boolean CFEqual(CFTypeRef first, CFTypeRef second) {
  if (first == second) return true;
  if (!first || !second) return false;
  if (auto* table = foreign(first)) {
    if (foreign(second)) return table->equal(first, second);
    std::swap(first, second);
  }
  if (CFGetTypeID(first) != CFGetTypeID(second)) return false;
  auto* object = static_cast<const Object*>(first);
  auto* equal = operations_of(object).equal;
  return equal && equal(object, second);
}

CFHashCode CFHash(CFTypeRef ref) {
  const CFTypeID type = CFGetTypeID(ref);
  if (type == 0) {
    auto* table = foreign(ref);
    return table ? table->hash(ref) : 0;
  }
  if (auto* hash = operations[type]->hash) return hash(static_cast<const Object*>(ref));
  return static_cast<CFHashCode>(reinterpret_cast<std::uintptr_t>(ref) >> 4);
}
