#include <vector>

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

const void* retain_object(CFAllocatorRef, const void* value) {
  return value ? CFRetain(value) : nullptr;
}
const void* copy_string(CFAllocatorRef allocator, const void* value) {
  return CFStringCreateCopy(allocator, static_cast<CFStringRef>(value));
}
void release_object(CFAllocatorRef, const void* value) {
  if (value) CFRelease(value);
}

/// Design: entries in the order they came (removal moves the last into the gap), and beside them,
/// once there are more than a few, an open-addressed table of entry numbers with linear probing.
struct Dictionary : Object {
  static constexpr Type type_of = Type::dictionary;
  static constexpr std::size_t none = SIZE_MAX;
  static constexpr std::size_t searched_in_order = 8;

  struct Entry {
    const void* key;
    const void* value;
    CFHashCode hash;
  };

  Dictionary(std::uint16_t flags_, const CFDictionaryKeyCallBacks* keys_,
             const CFDictionaryValueCallBacks* values_)
      : Object(type_of, flags_),
        keys(keys_ ? *keys_ : CFDictionaryKeyCallBacks{}),
        values(values_ ? *values_ : CFDictionaryValueCallBacks{}) {}
  ~Dictionary() {
    for (const Entry& entry : entries) release(entry);
  }

  CFHashCode hash(const void* key) const {
    if (keys.hash) return keys.hash(key);
    return static_cast<CFHashCode>(reinterpret_cast<std::uintptr_t>(key) >> 3) *
           0x9e3779b97f4a7c15u;
  }
  bool are_equal_keys(const void* first, const void* second) const {
    return first == second || (keys.equal && keys.equal(first, second));
  }
  bool are_equal_values(const void* first, const void* second) const {
    return first == second || (values.equal && values.equal(first, second));
  }
  const void* retain_value(const void* value) const {
    return values.retain ? values.retain(nullptr, value) : value;
  }
  void release_value(const void* value) const {
    if (values.release) values.release(nullptr, value);
  }
  void release(const Entry& entry) const {
    if (keys.release) keys.release(nullptr, entry.key);
    release_value(entry.value);
  }

  std::size_t start_slot(CFHashCode hash_) const {
    return static_cast<std::size_t>(hash_ ^ hash_ >> 32) & (slots.size() - 1);
  }
  /// The slot that holds entry `index`, whose number is known to be there.
  std::size_t slot_of(std::size_t index) const {
    std::size_t slot = start_slot(entries[index].hash);
    while (slots[slot] != index + 1) slot = (slot + 1) & (slots.size() - 1);
    return slot;
  }

  std::size_t find(const void* key) const {
    if (entries.empty()) return none;
    const CFHashCode wanted = hash(key);
    const auto matches = [&](const Entry& entry) {
      return entry.hash == wanted && are_equal_keys(entry.key, key);
    };
    if (slots.empty()) {
      for (std::size_t i = 0; i < entries.size(); ++i)
        if (matches(entries[i])) return i;
      return none;
    }
    for (std::size_t slot = start_slot(wanted); slots[slot] != 0;
         slot = (slot + 1) & (slots.size() - 1)) {
      if (matches(entries[slots[slot] - 1])) return slots[slot] - 1;
    }
    return none;
  }

  void put_into_slot(std::size_t index) {
    std::size_t slot = start_slot(entries[index].hash);
    while (slots[slot] != 0) slot = (slot + 1) & (slots.size() - 1);
    slots[slot] = static_cast<std::uint32_t>(index + 1);
  }

  /// The key is known to be absent.
  void add(const void* key, const void* value) {
    const CFHashCode key_hash = hash(key);
    const void* kept = keys.retain ? keys.retain(nullptr, key) : key;
    entries.push_back({kept, retain_value(value), key_hash});
    if (entries.size() <= searched_in_order) return;
    if (2 * entries.size() > slots.size()) {
      slots.assign(slots.empty() ? 4 * searched_in_order : 2 * slots.size(), 0);
      for (std::size_t i = 0; i < entries.size(); ++i) put_into_slot(i);
    } else {
      put_into_slot(entries.size() - 1);
    }
  }

  /// Empties a slot and moves up whatever was pushed behind it by the collision.
  void clear_slot(std::size_t slot) {
    const std::size_t mask = slots.size() - 1;
    std::size_t gap = slot;
    for (std::size_t next = (slot + 1) & mask; slots[next] != 0; next = (next + 1) & mask) {
      const std::size_t home = start_slot(entries[slots[next] - 1].hash);
      if (((next - home) & mask) >= ((next - gap) & mask)) {
        slots[gap] = slots[next];
        gap = next;
      }
    }
    slots[gap] = 0;
  }

  void remove(std::size_t index) {
    const Entry removed = entries[index];
    const std::size_t last = entries.size() - 1;
    if (!slots.empty()) {
      clear_slot(slot_of(index));
      if (index != last) slots[slot_of(last)] = static_cast<std::uint32_t>(index + 1);
    }
    entries[index] = entries[last];
    entries.pop_back();
    release(removed);
  }

  const CFDictionaryKeyCallBacks keys;
  const CFDictionaryValueCallBacks values;
  std::vector<Entry> entries;
  std::vector<std::uint32_t> slots;  ///< 0 or entry number + 1; a power of two, at most half full.
};

bool equal_dictionaries(const Object* object, CFTypeRef other_ref) {
  const auto* dictionary = static_cast<const Dictionary*>(object);
  const auto other = static_cast<CFDictionaryRef>(other_ref);
  if (CFDictionaryGetCount(other) != static_cast<CFIndex>(dictionary->entries.size())) return false;
  for (const Dictionary::Entry& entry : dictionary->entries) {
    const void* value = nullptr;
    if (!CFDictionaryGetValueIfPresent(other, entry.key, &value) ||
        !dictionary->are_equal_values(entry.value, value)) {
      return false;
    }
  }
  return true;
}

CFHashCode hash_dictionary(const Object* object) {
  return static_cast<CFHashCode>(CFDictionaryGetCount(as_ref<CFDictionaryRef>(object)));
}

CFStringRef describe_dictionary(const Object* object) {
  const auto* dictionary = static_cast<const Dictionary*>(object);
  const auto describe = [](auto* copy_description, const void* value) {
    Owner<CFStringRef> text(copy_description ? copy_description(value) : nullptr);
    return text ? utf8(text.get()) : std::string("?");
  };
  std::string text = "{";
  for (const Dictionary::Entry& entry : dictionary->entries) {
    if (text.size() > 1) text += ", ";
    text += describe(dictionary->keys.copyDescription, entry.key) + " = " +
            describe(dictionary->values.copyDescription, entry.value);
  }
  return make_string_from_utf8(text + "}");
}

Dictionary* make_dictionary(const CFDictionaryKeyCallBacks* keys,
                            const CFDictionaryValueCallBacks* values, Flags flags) {
  return make<Dictionary>(0, static_cast<std::uint16_t>(flags), keys, values);
}

/// A copy with the callbacks of the original; those of a foreign dictionary are the usual ones.
Dictionary* copy_dictionary(CFDictionaryRef ref, Flags flags) {
  if (!ref) return nullptr;
  const Dictionary* original = own<Dictionary>(ref);
  Dictionary* copy = original ? make_dictionary(&original->keys, &original->values, flags)
                              : make_dictionary(&kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks, flags);
  const auto count = static_cast<std::size_t>(CFDictionaryGetCount(ref));
  std::vector<const void*> keys(count), values(count);
  CFDictionaryGetKeysAndValues(ref, keys.data(), values.data());
  for (std::size_t i = 0; i < count; ++i) copy->add(keys[i], values[i]);
  return copy;
}

enum class Wanted : std::uint8_t { absent, present, either };

void set(CFMutableDictionaryRef ref, const void* key, const void* value, Wanted wanted) {
  if (auto* table = foreign(ref)) {
    const bool is_present = table->dictionary_get(ref, key, nullptr);
    if (wanted == Wanted::either || is_present == (wanted == Wanted::present))
      table->dictionary_set(ref, key, value);
    return;
  }
  Dictionary* dictionary = own_changeable<Dictionary>(ref);
  if (!dictionary) return;
  const std::size_t found = dictionary->find(key);
  if (found == Dictionary::none) {
    if (wanted != Wanted::present) dictionary->add(key, value);
  } else if (wanted != Wanted::absent) {
    // Kept before the old value goes: both may be the same object.
    const void* old =
        std::exchange(dictionary->entries[found].value, dictionary->retain_value(value));
    dictionary->release_value(old);
  }
}

}  // namespace

const TypeOperations dictionary_operations{"CFDictionary", destroy<Dictionary>, equal_dictionaries,
                                           hash_dictionary, describe_dictionary};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, retain_object, release_object, CFCopyDescription, CFEqual, CFHash};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {
    0, copy_string, release_object, CFCopyDescription, CFEqual, CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, retain_object, release_object, CFCopyDescription, CFEqual};

CFTypeID CFDictionaryGetTypeID(void) {
  return static_cast<CFTypeID>(Type::dictionary);
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* key_callbacks,
                                   const CFDictionaryValueCallBacks* value_callbacks) {
  if (count < 0 || (count > 0 && (!keys || !values))) return nullptr;
  Dictionary* dictionary = make_dictionary(key_callbacks, value_callbacks, plain);
  for (CFIndex i = 0; i < count; ++i)
    if (dictionary->find(keys[i]) == Dictionary::none) dictionary->add(keys[i], values[i]);
  return as_ref<CFDictionaryRef>(dictionary);
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef ref) {
  const Dictionary* original = own<Dictionary>(ref);
  if (original && !original->is_changeable()) return static_cast<CFDictionaryRef>(CFRetain(ref));
  Dictionary* copy = copy_dictionary(ref, plain);
  return copy ? as_ref<CFDictionaryRef>(copy) : nullptr;
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex,
                                                 const CFDictionaryKeyCallBacks* keys,
                                                 const CFDictionaryValueCallBacks* values) {
  return as_ref<CFMutableDictionaryRef>(make_dictionary(keys, values, changeable));
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex, CFDictionaryRef ref) {
  Dictionary* copy = copy_dictionary(ref, changeable);
  return copy ? as_ref<CFMutableDictionaryRef>(copy) : nullptr;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef ref) {
  if (auto* table = foreign(ref)) return table->dictionary_count(ref);
  const Dictionary* dictionary = own<Dictionary>(ref);
  return dictionary ? static_cast<CFIndex>(dictionary->entries.size()) : 0;
}

CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef ref, const void* key) {
  return CFDictionaryContainsKey(ref, key) ? 1 : 0;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef ref, const void* key) {
  return CFDictionaryGetValueIfPresent(ref, key, nullptr);
}

Boolean CFDictionaryContainsValue(CFDictionaryRef ref, const void* value) {
  const auto count = static_cast<std::size_t>(CFDictionaryGetCount(ref));
  std::vector<const void*> values(count);
  CFDictionaryGetKeysAndValues(ref, nullptr, values.data());
  const Dictionary* dictionary = own<Dictionary>(ref);
  for (const void* candidate : values)
    if (dictionary ? dictionary->are_equal_values(candidate, value) : CFEqual(candidate, value))
      return true;
  return false;
}

const void* CFDictionaryGetValue(CFDictionaryRef ref, const void* key) {
  const void* value = nullptr;
  return CFDictionaryGetValueIfPresent(ref, key, &value) ? value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef ref, const void* key, const void** value) {
  if (auto* table = foreign(ref)) return table->dictionary_get(ref, key, value);
  const Dictionary* dictionary = own<Dictionary>(ref);
  const std::size_t found = dictionary ? dictionary->find(key) : Dictionary::none;
  if (found == Dictionary::none) return false;
  if (value) *value = dictionary->entries[found].value;
  return true;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef ref, const void** keys, const void** values) {
  if (auto* table = foreign(ref)) return table->dictionary_get_all(ref, keys, values);
  const Dictionary* dictionary = own<Dictionary>(ref);
  for (std::size_t i = 0; dictionary && i < dictionary->entries.size(); ++i) {
    if (keys) keys[i] = dictionary->entries[i].key;
    if (values) values[i] = dictionary->entries[i].value;
  }
}

void CFDictionaryApplyFunction(CFDictionaryRef ref, CFDictionaryApplierFunction function,
                               void* context) {
  const auto count = static_cast<std::size_t>(CFDictionaryGetCount(ref));
  std::vector<const void*> keys(count), values(count);
  CFDictionaryGetKeysAndValues(ref, keys.data(), values.data());
  for (std::size_t i = 0; function && i < count; ++i) function(keys[i], values[i], context);
}

void CFDictionaryAddValue(CFMutableDictionaryRef ref, const void* key, const void* value) {
  set(ref, key, value, Wanted::absent);
}

void CFDictionarySetValue(CFMutableDictionaryRef ref, const void* key, const void* value) {
  set(ref, key, value, Wanted::either);
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef ref, const void* key, const void* value) {
  set(ref, key, value, Wanted::present);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef ref, const void* key) {
  if (auto* table = foreign(ref)) return table->dictionary_remove(ref, key);
  Dictionary* dictionary = own_changeable<Dictionary>(ref);
  const std::size_t found = dictionary ? dictionary->find(key) : Dictionary::none;
  if (found != Dictionary::none) dictionary->remove(found);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef ref) {
  if (foreign(ref)) {
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(ref));
    std::vector<const void*> keys(count);
    CFDictionaryGetKeysAndValues(ref, keys.data(), nullptr);
    for (const void* key : keys) CFDictionaryRemoveValue(ref, key);
    return;
  }
  Dictionary* dictionary = own_changeable<Dictionary>(ref);
  if (!dictionary) return;
  const std::vector<Dictionary::Entry> old = std::move(dictionary->entries);
  dictionary->entries.clear();
  dictionary->slots.clear();
  for (const Dictionary::Entry& entry : old) dictionary->release(entry);
}
