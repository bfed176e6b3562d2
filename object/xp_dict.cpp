#include "object/xp_dict.h"

#include <stddef.h>
#include <string.h>

#include "object/xp_container.h"
#include "object/xp_ref.h"
#include "object/xp_trav.h"

namespace {

constexpr uint32_t FIRST_BLOCK = 128;        // bytes of the first block outside the record
constexpr uint32_t LARGEST_BLOCK = 32768;    // blocks stop doubling here
constexpr uint32_t FIRST_BUCKETS = 16;       // the first table outside it
constexpr uint32_t LARGEST_BUCKETS = 32768;  // a table grows no further by itself
constexpr uint32_t RECYCLE_LISTS = 32;       // one for each eight key lengths
constexpr int32_t LONGEST_KEY = 255;
constexpr uint32_t BUCKET_FLAGS = 0x300;  // XP_DICT_8192 and its multiples

}  // namespace

struct xp_dict_node {
  xp_dict_node* next;  // of the chain
  xp_object* value;
  uint8_t key_length;
  char key[7];  // runs on behind the record
};

namespace {

constexpr uint32_t NODE_HEAD = offsetof(xp_dict_node, key);
static_assert(NODE_HEAD == 17);

struct dict_key {
  const char* bytes;
  uint32_t length;  // 1 to 255
};

// ASCII small letters as capitals, all else as it is.
struct fold_table {
  uint8_t byte[256];
};

consteval fold_table make_fold_table() {
  fold_table table = {};
  for (int i = 0; i < 256; i++)
    table.byte[i] = static_cast<uint8_t>(i >= 'a' && i <= 'z' ? i - 0x20 : i);
  return table;
}

constexpr fold_table fold = make_fold_table();

uint32_t byte_at(const char* bytes, uint32_t i) {
  return static_cast<uint8_t>(bytes[i]);
}

uint32_t folded_at(const char* bytes, uint32_t i) {
  return fold.byte[static_cast<uint8_t>(bytes[i])];
}

// 33 to the power of `exponent`.
consteval uint32_t power(uint32_t exponent) {
  uint32_t product = 1;
  for (; exponent; exponent--)
    product *= 33;
  return product;
}

// hash = hash * 33 + byte for each byte. Eight bytes a step: their products don't wait for each
// other.
template <uint32_t (*at)(const char*, uint32_t)>
inline uint32_t hash_bytes(const char* bytes, uint32_t length) {
  uint32_t hash = 5381;
  uint32_t i = 0;
  for (; i + 8 <= length; i += 8) {
    const uint32_t high = at(bytes, i) * power(7) + at(bytes, i + 1) * power(6) +
                          at(bytes, i + 2) * power(5) + at(bytes, i + 3) * power(4);
    const uint32_t low = at(bytes, i + 4) * power(3) + at(bytes, i + 5) * power(2) +
                         at(bytes, i + 6) * power(1) + at(bytes, i + 7);
    hash = hash * power(8) + (high + low);
  }
  if (i + 4 <= length) {
    hash = hash * power(4) + (at(bytes, i) * power(3) + at(bytes, i + 1) * power(2)) +
           (at(bytes, i + 2) * power(1) + at(bytes, i + 3));
    i += 4;
  }
  for (; i < length; i++)
    hash = hash * power(1) + at(bytes, i);
  return hash;
}

template <class Word>
bool differ_at(const char* a, const char* b, uint32_t offset) {
  Word word_a;
  Word word_b;
  memcpy(&word_a, a + offset, sizeof(Word));
  memcpy(&word_b, b + offset, sizeof(Word));
  return word_a != word_b;
}

// Words instead of a call of memcmp, which costs more than most keys are long. The last word
// overlaps the one before it.
bool equal_bytes(const char* a, const char* b, uint32_t length) {
  if (length >= 8) {
    if (differ_at<uint64_t>(a, b, length - 8)) return false;  // keys mostly differ at their end
    for (uint32_t i = 0; i + 8 < length; i += 8)
      if (differ_at<uint64_t>(a, b, i)) return false;
    return true;
  }
  if (length >= 4) return !differ_at<uint32_t>(a, b, length - 4) && !differ_at<uint32_t>(a, b, 0);
  for (uint32_t i = 0; i < length; i++)
    if (a[i] != b[i]) return false;
  return true;
}

bool equal_folded(const char* a, const char* b, uint32_t length) {
  for (uint32_t i = 0; i < length; i++)
    if (a[i] != b[i] && folded_at(a, i) != folded_at(b, i)) return false;
  return true;
}

// Most keys are asked for as they were first written.
bool equal_nocase(const char* a, const char* b, uint32_t length) {
  return equal_bytes(a, b, length) || equal_folded(a, b, length);
}

// False for what is no key: null and the empty text. A longer key is cut.
bool key_from(const char* bytes, int32_t length, dict_key* out) {
  if (!bytes) return false;
  if (length < 0) length = static_cast<int32_t>(strnlen(bytes, LONGEST_KEY));
  if (length > LONGEST_KEY) length = LONGEST_KEY;
  *out = {bytes, static_cast<uint32_t>(length)};
  return length > 0;
}

// The record of a dictionary that takes keys out again keeps their nodes, by key length / 8: the
// nodes of one list have one rounded size.
struct recycling_dict : xp_dict {
  xp_dict_node* recycled[RECYCLE_LISTS];
};

xp_dict_node** recycle_list(xp_dict* dict, uint32_t key_length) {
  return &static_cast<recycling_dict*>(dict)->recycled[key_length / 8];
}

uint32_t dict_hash(const xp_dict* dict, const char* bytes, uint32_t length) {
  return dict->flags & XP_DICT_NOCASE ? hash_bytes<folded_at>(bytes, length)
                                      : hash_bytes<byte_at>(bytes, length);
}

bool node_matches(const xp_dict_node* node, dict_key key, bool nocase) {
  if (node->key_length != key.length) return false;
  return nocase ? equal_nocase(node->key, key.bytes, key.length)
                : equal_bytes(node->key, key.bytes, key.length);
}

template <bool NOCASE>
xp_dict_node** dict_find_as(xp_dict* dict, dict_key key, uint32_t hash) {
  xp_dict_node** place = &dict->buckets[hash & (dict->bucket_count - 1)];
  for (xp_dict_node* node = *place; node; node = *place) {
    // In a long chain the next node comes near while this one is compared.
    __builtin_prefetch(node->next);
    if (node_matches(node, key, NOCASE)) break;
    place = &node->next;
  }
  return place;
}

// The place that points at the key's node, or at the null that ends its chain.
xp_dict_node** dict_find(xp_dict* dict, dict_key key, uint32_t hash) {
  return dict->flags & XP_DICT_NOCASE ? dict_find_as<true>(dict, key, hash)
                                      : dict_find_as<false>(dict, key, hash);
}

bool dict_new_block(xp_dict* dict, uint32_t key_length) {
  uint32_t size = dict->block_size;
  while (size < key_length + NODE_HEAD + sizeof(xp_dict_block))
    size *= 2;
  dict->block_size = size;
  auto* block = static_cast<xp_dict_block*>(xp_heap_alloc(size));
  if (!block) return false;
  block->capacity = size - static_cast<uint32_t>(sizeof(xp_dict_block));
  block->next = dict->pool;
  dict->pool = block;
  if (dict->block_size < LARGEST_BLOCK) dict->block_size *= 2;
  return true;
}

bool dict_has_room(xp_dict* dict, uint32_t key_length) {
  const xp_dict_block* block = dict->pool;
  return key_length + NODE_HEAD <= block->capacity - block->used ||
         dict_new_block(dict, key_length);
}

xp_dict_node* dict_carve(xp_dict* dict, uint32_t key_length) {
  xp_dict_block* block = dict->pool;
  auto* node = reinterpret_cast<xp_dict_node*>(reinterpret_cast<uint8_t*>(block + 1) + block->used);
  const uint32_t used = (block->used + key_length + NODE_HEAD + 7) & ~7u;
  block->used = used < block->capacity ? used : block->capacity;
  return node;
}

// Small dictionaries keep the two heads in their record; behind 16 keys the table follows the
// count.
void dict_grow_table(xp_dict* dict) {
  if (dict->bucket_count < FIRST_BUCKETS) {
    if (dict->count > FIRST_BUCKETS) xp_dict_rehash(dict, FIRST_BUCKETS);
  } else if (dict->bucket_count < LARGEST_BUCKETS && dict->count > dict->bucket_count) {
    xp_dict_rehash(dict, dict->bucket_count * 2);
  }
}

// A node for a new key, taken from the recycled ones or carved; null when memory is out.
xp_dict_node* dict_take_node(xp_dict* dict, uint32_t key_length) {
  if (dict->flags & XP_DICT_NULL_REMOVES) {
    xp_dict_node** list = recycle_list(dict, key_length);
    if (xp_dict_node* node = *list) {
      *list = node->next;
      dict->count++;
      return node;
    }
  }
  if (!dict_has_room(dict, key_length)) return nullptr;
  dict->count++;
  dict_grow_table(dict);
  return dict_carve(dict, key_length);
}

int32_t dict_insert(xp_dict* dict, dict_key key, uint32_t hash, xp_object* value) {
  xp_dict_node* node = dict_take_node(dict, key.length);
  if (!node) return -1;
  xp_dict_node** head = &dict->buckets[hash & (dict->bucket_count - 1)];
  node->next = *head;
  *head = node;
  node->value = value;
  node->key_length = static_cast<uint8_t>(key.length);
  memcpy(node->key, key.bytes, key.length);
  return 0;
}

// Takes the node at `place` out of its chain and keeps it for a key of like length.
void dict_remove(xp_dict* dict, xp_dict_node** place) {
  xp_dict_node* node = *place;
  xp_dict_node** list = recycle_list(dict, node->key_length);
  xp_object* old = node->value;
  *place = node->next;
  node->value = nullptr;
  node->next = *list;
  *list = node;
  dict->count--;
  dict->release_value(old);
}

// The new value stands before the old one is released, so an object stored over itself survives.
void dict_replace(xp_dict* dict, xp_dict_node* node, xp_object* value) {
  xp_object* old = node->value;
  node->value = value;
  dict->release_value(old);
}

// Takes the caller's reference over when the result is 0.
int32_t dict_store(xp_dict* dict, dict_key key, uint32_t hash, xp_object* value) {
  xp_dict_node** place = dict_find(dict, key, hash);
  const bool removes = dict->flags & XP_DICT_NULL_REMOVES && !value;
  if (!*place) return removes ? 0 : dict_insert(dict, key, hash, value);
  if (removes)
    dict_remove(dict, place);
  else
    dict_replace(dict, *place, value);
  return 0;
}

// Stores an owned value under the lock, or releases it.
int32_t dict_give(xp_dict* dict, dict_key key, uint32_t hash, xp_object* value) {
  const int32_t result = dict_store(dict, key, hash, value);
  if (result != 0) dict->release_value(value);
  return result;
}

// The value through the retain of the policy, the usual one without a call on the way.
xp_object* dict_hand_out(const xp_dict* dict, xp_object* value) {
  if (dict->retain_value != xp_object_retain) return dict->retain_value(value);
  return value ? value->retain(value) : nullptr;
}

constexpr uint32_t STACK_NODES = 16;

void dict_free_tables(xp_dict* dict) {
  while (dict->pool != &dict->inline_block) {
    xp_dict_block* block = dict->pool;
    dict->pool = block->next;
    xp_heap_free(block);
  }
  if (dict->buckets != dict->inline_buckets) xp_heap_free(dict->buckets);
}

}  // namespace

static void dict_release(xp_object* object) {
  if (!xp_object_drop(object)) return;
  auto* dict = static_cast<xp_dict*>(object);
  {
    xp_locked lock(dict->lock);
    const bool skip_null = dict->flags & XP_DICT_SKIP_NULL;
    xp_dict_fetch(dict);
    for (uint32_t i = 0; i < dict->bucket_count; i++)
      for (xp_dict_node* node = dict->buckets[i]; node; node = node->next)
        if (node->value || !skip_null) dict->release_value(node->value);
  }
  xp_object_release(dict->lock);
  dict_free_tables(dict);
  xp_object_free(dict);
}

static xp_word dict_copy(xp_dict* dict, uint32_t flags) {
  const bool deep = !(flags & 1) && !(dict->flags & XP_DICT_RAW);
  xp_ref copy(xp_dict_new(dict->flags));
  if (!copy) return 0;
  xp_locked lock(dict->lock);
  for (uint32_t i = 0; i < dict->bucket_count; i++)
    for (xp_dict_node* node = dict->buckets[i]; node; node = node->next) {
      xp_object* value =
          deep ? xp_container_copy_value(node->value, flags) : dict->retain_value(node->value);
      if (xp_dict_give(copy.get(), node->key, node->key_length, value) != 0) return 0;
    }
  return reinterpret_cast<xp_word>(copy.take());
}

static xp_word dict_control(xp_object* object, int32_t selector, uint32_t argument, void*) {
  switch (selector) {
    case XP_CTL_COPY:
      return dict_copy(static_cast<xp_dict*>(object), argument);
    case XP_CTL_SUPPORTS:
      return argument == XP_TRAV;
    default:
      return 0;
  }
}

xp_dict* xp_dict_new(uint32_t flags) {
  const size_t size = flags & XP_DICT_NULL_REMOVES ? sizeof(recycling_dict) : sizeof(xp_dict);
  xp_ref dict(xp_object_new<xp_dict>(XP_DICT, size));
  if (!dict) return nullptr;
  dict->release = dict_release;
  dict->control = dict_control;
  dict->flags = flags;
  dict->block_size = FIRST_BLOCK;
  dict->bucket_count = XP_DICT_INLINE_BUCKETS;
  dict->retain_value = flags & XP_DICT_RAW ? xp_container_keep : xp_object_retain;
  dict->release_value = flags & XP_DICT_RAW ? xp_container_forget : xp_object_release;
  dict->buckets = dict->inline_buckets;
  dict->inline_block.capacity = XP_DICT_INLINE_BYTES;
  dict->pool = &dict->inline_block;
  if (flags & XP_DICT_LOCKED && !(dict->lock = xp_crit_new())) return nullptr;
  if (const uint32_t buckets = flags & BUCKET_FLAGS)
    xp_dict_rehash(dict.get(), 4096u << (buckets / XP_DICT_8192));
  return dict.take();
}

int32_t xp_dict_set(xp_dict* dict, const char* key, int32_t length, xp_object* value) {
  if (!dict || !key) return -1;
  dict_key wanted;
  if (!key_from(key, length, &wanted)) return 0;
  const uint32_t hash = dict_hash(dict, wanted.bytes, wanted.length);
  xp_locked lock(dict->lock);
  return dict_give(dict, wanted, hash, dict->retain_value(value));
}

int32_t xp_dict_give(xp_dict* dict, const char* key, int32_t length, xp_object* value) {
  dict_key wanted;
  if (!dict || !key_from(key, length, &wanted)) {
    // Whoever gives to a dictionary of words has no reference to lose.
    if (!dict || !(dict->flags & XP_DICT_RAW)) xp_object_release(value);
    return dict && key ? 0 : -1;
  }
  const uint32_t hash = dict_hash(dict, wanted.bytes, wanted.length);
  xp_locked lock(dict->lock);
  return dict_give(dict, wanted, hash, value);
}

namespace {

// A key that isn't there may be remembered with null. Nothing is lost when it can't be: the next
// lookup tries again.
[[gnu::noinline]] xp_object* dict_miss(xp_dict* dict, dict_key key) {
  if (dict->flags & XP_DICT_INSERT)
    (void)xp_dict_set(dict, key.bytes, static_cast<int32_t>(key.length), nullptr);
  return nullptr;
}

[[gnu::noinline]] xp_object* dict_get_locked(xp_dict* dict, dict_key key, uint32_t hash) {
  {
    xp_locked lock(dict->lock);
    if (const xp_dict_node* node = *dict_find(dict, key, hash))
      return dict_hand_out(dict, node->value);
  }
  return dict_miss(dict, key);
}

// Most dictionaries have no lock; their lookups have no end of a scope to save registers for.
template <bool NOCASE>
[[gnu::noinline]] xp_object* dict_get(xp_dict* dict, dict_key key, uint32_t hash) {
  if (dict->lock) return dict_get_locked(dict, key, hash);
  const xp_dict_node* node = dict->buckets[hash & (dict->bucket_count - 1)];
  for (; node; node = node->next) {
    __builtin_prefetch(node->next);
    if (node_matches(node, key, NOCASE)) return dict_hand_out(dict, node->value);
  }
  return dict_miss(dict, key);
}

[[gnu::noinline]] xp_object* dict_get_measured(xp_dict* dict, const char* key) {
  return xp_dict_get(dict, key, static_cast<int32_t>(strnlen(key, LONGEST_KEY)));
}

[[gnu::noinline]] xp_object* dict_get_nocase(xp_dict* dict, dict_key key) {
  return dict_get<true>(dict, key, hash_bytes<folded_at>(key.bytes, key.length));
}

}  // namespace

xp_object* xp_dict_get(xp_dict* dict, const char* key, int32_t length) {
  if (!dict || !key || length == 0) return nullptr;
  if (length < 0) return dict_get_measured(dict, key);
  const dict_key wanted = {key, static_cast<uint32_t>(length < LONGEST_KEY ? length : LONGEST_KEY)};
  if (dict->flags & XP_DICT_NOCASE) return dict_get_nocase(dict, wanted);
  return dict_get<false>(dict, wanted, hash_bytes<byte_at>(wanted.bytes, wanted.length));
}

uint32_t xp_dict_count(const xp_dict* dict) {
  return dict ? dict->count : 0;
}

// ---- the walk --------------------------------------------------------------------------------

namespace {

// The first seven bytes of a key as a number that orders like them, zeros behind a shorter one.
uint64_t key_prefix(const xp_dict_node* node) {
  uint64_t word;
  memcpy(&word, &node->key_length, sizeof(word));  // the length, and the key behind it
  const uint32_t length = node->key_length < 7 ? node->key_length : 7;
  const uint64_t bytes = __builtin_bswap64(word) << 8;
  return bytes & ~uint64_t{0} << (64 - 8 * length);
}

int32_t order_nodes(void*, uintptr_t a, uintptr_t b, int32_t) {
  const auto* left = reinterpret_cast<const xp_dict_node*>(a);
  const auto* right = reinterpret_cast<const xp_dict_node*>(b);
  const uint64_t left_prefix = key_prefix(left);
  const uint64_t right_prefix = key_prefix(right);
  if (left_prefix != right_prefix) return left_prefix < right_prefix ? -1 : 1;
  const int32_t a_length = left->key_length;
  const int32_t b_length = right->key_length;
  const int32_t order =
      memcmp(left->key, right->key, static_cast<size_t>(a_length < b_length ? a_length : b_length));
  return order ? order : a_length - b_length;
}

// Both put the nodes of a dictionary into the order of their keys, and return how many there are.
uint32_t collect_sorted(const xp_dict* dict, uintptr_t* nodes) {
  uintptr_t* end = nodes;
  for (uint32_t i = 0; i < dict->bucket_count; i++)
    for (const xp_dict_node* node = dict->buckets[i]; node; node = node->next)
      *end++ = reinterpret_cast<uintptr_t>(node);
  const auto count = static_cast<uint32_t>(end - nodes);
  (void)xp_sort(nullptr, count, nodes, order_nodes);
  return count;
}

// Few nodes, as nearly every dictionary has, go to their places as they are met. Their prefixes are
// read once, and mostly tell the order.
uint32_t collect_few_sorted(const xp_dict* dict, uintptr_t* nodes) {
  uint64_t prefixes[STACK_NODES];
  uint32_t count = 0;
  for (uint32_t i = 0; i < dict->bucket_count; i++)
    for (const xp_dict_node* node = dict->buckets[i]; node; node = node->next) {
      const auto word = reinterpret_cast<uintptr_t>(node);
      const uint64_t prefix = key_prefix(node);
      uint32_t at = count++;
      for (; at > 0 && prefixes[at - 1] >= prefix; at--) {
        if (prefixes[at - 1] == prefix && order_nodes(nullptr, nodes[at - 1], word, 0) < 0) break;
        prefixes[at] = prefixes[at - 1];
        nodes[at] = nodes[at - 1];
      }
      prefixes[at] = prefix;
      nodes[at] = word;
    }
  return count;
}

int32_t dict_visit_node(xp_dict* dict, const xp_dict_node* node, xp_dict_visitor visitor,
                        void* context) {
  if (!node->value && dict->flags & XP_DICT_SKIP_NULL) return 0;
  return visitor(dict, node->key, node->key_length, node->value, context);
}

}  // namespace

int32_t xp_dict_each_sorted(xp_dict* dict, xp_dict_visitor visitor, void* context) {
  if (!dict) return 0;
  xp_locked lock(dict->lock);
  uintptr_t stack[STACK_NODES];
  xp_block<uintptr_t> heap;
  if (dict->count > STACK_NODES) {
    heap = xp_block<uintptr_t>::of(dict->count);
    if (!heap) return -1;
  }
  uintptr_t* nodes = heap ? heap.get() : stack;
  const uint32_t count = (heap ? collect_sorted : collect_few_sorted)(dict, nodes);
  for (uint32_t i = 0; i < count; i++)
    if (dict_visit_node(dict, reinterpret_cast<const xp_dict_node*>(nodes[i]), visitor, context))
      return -1;
  return 0;
}

int32_t xp_dict_each(xp_dict* dict, xp_dict_visitor visitor, void* context) {
  if (!dict) return 0;
  xp_locked lock(dict->lock);
  for (uint32_t i = 0; i < dict->bucket_count; i++)
    for (const xp_dict_node* node = dict->buckets[i]; node; node = node->next)
      if (dict_visit_node(dict, node, visitor, context)) return -1;
  return 0;
}

void xp_dict_fetch(const xp_dict* dict) {
  constexpr uint32_t BYTES = 192;  // most of a string, and all of a number
  if (!dict || dict->count > STACK_NODES || dict->flags & XP_DICT_RAW) return;
  for (uint32_t i = 0; i < dict->bucket_count; i++)
    for (const xp_dict_node* node = dict->buckets[i]; node; node = node->next)
      xp_container_fetch(node->value, BYTES);
}

int32_t xp_dict_key_equal(xp_dict* dict, const char* a, int32_t a_length, const char* b,
                          int32_t b_length) {
  if (a_length != b_length) return 0;
  if (a_length <= 0 || a == b) return 1;
  if (!a || !b) return 0;
  const auto length = static_cast<uint32_t>(a_length);
  if (dict && dict->flags & XP_DICT_NOCASE) return equal_folded(a, b, length);
  return memcmp(a, b, length) == 0;
}

void xp_dict_rehash(xp_dict* dict, uint32_t buckets) {
  if (!dict || buckets == 0 || (buckets & (buckets - 1))) return;
  auto** table = static_cast<xp_dict_node**>(xp_heap_alloc(buckets * sizeof(xp_dict_node*)));
  if (!table) return;
  for (uint32_t i = 0; i < dict->bucket_count; i++) {
    xp_dict_node* next;
    for (xp_dict_node* node = dict->buckets[i]; node; node = next) {
      next = node->next;
      const uint32_t hash = dict_hash(dict, node->key, node->key_length);
      xp_dict_node** head = &table[hash & (buckets - 1)];
      node->next = *head;
      *head = node;
    }
  }
  if (dict->buckets != dict->inline_buckets) xp_heap_free(dict->buckets);
  dict->buckets = table;
  dict->bucket_count = buckets;
}
