#include <unordered_map>
#include <vector>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

namespace {

struct Dictionary : Object {
  static constexpr Type type_of = Type::dictionary;

  struct HashOfKey {
    const CFDictionaryKeyCallBacks* keys;
    std::size_t operator()(const void* key) const {
      return keys->hash ? keys->hash(key) : std::hash<const void*>()(key);
    }
  };
  struct AreEqualKeys {
    const CFDictionaryKeyCallBacks* keys;
    bool operator()(const void* first, const void* second) const {
      return first == second || (keys->equal && keys->equal(first, second));
    }
  };

  Dictionary(std::uint16_t flags_, const CFDictionaryKeyCallBacks* keys_,
             const CFDictionaryValueCallBacks* values_)
      : Object(type_of, flags_),
        keys(keys_ ? *keys_ : CFDictionaryKeyCallBacks{}),
        values(values_ ? *values_ : CFDictionaryValueCallBacks{}),
        entries(0, HashOfKey{&keys}, AreEqualKeys{&keys}) {}
  ~Dictionary() {
    for (const auto& [key, value] : entries) release(key, value);
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
  void release(const void* key, const void* value) const {
    if (keys.release) keys.release(nullptr, key);
    release_value(value);
  }

  /// False, and nothing changed, when the key is there already.
  bool add(const void* key, const void* value) {
    if (entries.contains(key)) return false;
    entries.emplace(keys.retain ? keys.retain(nullptr, key) : key, retain_value(value));
    return true;
  }

  const CFDictionaryKeyCallBacks keys;
  const CFDictionaryValueCallBacks values;
  std::unordered_map<const void*, const void*, HashOfKey, AreEqualKeys> entries;
};

bool equal_dictionaries(const Object* object, CFTypeRef other_ref) {
  const auto* dictionary = static_cast<const Dictionary*>(object);
  const auto other = static_cast<CFDictionaryRef>(other_ref);
  if (CFDictionaryGetCount(other) != static_cast<CFIndex>(dictionary->entries.size())) return false;
  for (const auto& [key, own_value] : dictionary->entries) {
    const void* value = nullptr;
    if (!CFDictionaryGetValueIfPresent(other, key, &value) ||
        !dictionary->are_equal_values(own_value, value)) {
      return false;
    }
  }
  return true;
}

CFHashCode hash_dictionary(const Object* object) {
  return static_cast<CFHashCode>(CFDictionaryGetCount(as_ref<CFDictionaryRef>(object)));
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

}  // namespace

const TypeOperations dictionary_operations{"CFDictionary", destroy<Dictionary>, equal_dictionaries,
                                           hash_dictionary, nullptr};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, retain_object, release_object, nullptr, CFEqual, CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, retain_object, release_object, nullptr, CFEqual};

CFTypeID CFDictionaryGetTypeID(void) {
  return static_cast<CFTypeID>(Type::dictionary);
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* key_callbacks,
                                   const CFDictionaryValueCallBacks* value_callbacks) {
  if (count < 0 || (count > 0 && (!keys || !values))) return nullptr;
  Dictionary* dictionary = make_dictionary(key_callbacks, value_callbacks, plain);
  for (CFIndex i = 0; i < count; ++i) dictionary->add(keys[i], values[i]);
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

Boolean CFDictionaryContainsKey(CFDictionaryRef ref, const void* key) {
  return CFDictionaryGetValueIfPresent(ref, key, nullptr);
}

const void* CFDictionaryGetValue(CFDictionaryRef ref, const void* key) {
  const void* value = nullptr;
  return CFDictionaryGetValueIfPresent(ref, key, &value) ? value : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef ref, const void* key, const void** value) {
  if (auto* table = foreign(ref)) return table->dictionary_get(ref, key, value);
  const Dictionary* dictionary = own<Dictionary>(ref);
  if (!dictionary) return false;
  const auto found = dictionary->entries.find(key);
  if (found == dictionary->entries.end()) return false;
  if (value) *value = found->second;
  return true;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef ref, const void** keys, const void** values) {
  if (auto* table = foreign(ref)) return table->dictionary_get_all(ref, keys, values);
  const Dictionary* dictionary = own<Dictionary>(ref);
  if (!dictionary) return;
  for (const auto& [key, value] : dictionary->entries) {
    if (keys) *keys++ = key;
    if (values) *values++ = value;
  }
}

void CFDictionaryAddValue(CFMutableDictionaryRef ref, const void* key, const void* value) {
  if (!CFDictionaryContainsKey(ref, key)) CFDictionarySetValue(ref, key, value);
}

void CFDictionarySetValue(CFMutableDictionaryRef ref, const void* key, const void* value) {
  if (auto* table = foreign(ref)) return table->dictionary_set(ref, key, value);
  Dictionary* dictionary = own_changeable<Dictionary>(ref);
  if (!dictionary || dictionary->add(key, value)) return;
  // Kept before the old value goes: both may be the same object.
  const void* kept = dictionary->retain_value(value);
  dictionary->release_value(std::exchange(dictionary->entries.find(key)->second, kept));
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef ref, const void* key) {
  if (auto* table = foreign(ref)) return table->dictionary_remove(ref, key);
  Dictionary* dictionary = own_changeable<Dictionary>(ref);
  if (!dictionary) return;
  // Out of the table first: letting go may run code which looks at the dictionary.
  const auto removed = dictionary->entries.extract(key);
  if (removed) dictionary->release(removed.key(), removed.mapped());
}
