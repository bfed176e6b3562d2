#include "object/xp_num.h"

#include <string.h>

#include "format/xp_fmt.h"
#include "object/xp_decimal.h"
#include "object/xp_flat.h"
#include "object/xp_str.h"

namespace {

// The numbers that turn up everywhere, made on first use; the table's own references keep them
// for the process.
constexpr uint64_t SHARED_COUNT = 9;
xp_num* shared[SHARED_COUNT];

constexpr int32_t TEXT_SIZE = 64;  // what any number's text fits in, with its NUL

int32_t num_text(const xp_num* num, char (&text)[TEXT_SIZE]) {
  if (num->decimals == 0) return xp_int64_to_text(text, TEXT_SIZE, num->integer);
  const uint32_t precision = num->decimals < TEXT_SIZE ? num->decimals : TEXT_SIZE;
  return xp_fmt_fixed(num->real, 0, static_cast<int32_t>(precision), text, TEXT_SIZE - 1);
}

}  // namespace

static int32_t num_compare(xp_object* a, xp_object* b) {
  const auto* left = static_cast<xp_num*>(a);
  const auto* right = static_cast<xp_num*>(b);
  if (left->decimals == 0 && right->decimals == 0)
    return left->integer < right->integer ? -1 : left->integer > right->integer;
  return left->real > right->real ? 1 : left->real < right->real ? -1 : 0;
}

static int32_t num_render(xp_object* object, char* buffer, uint32_t size) {
  char text[TEXT_SIZE];
  int32_t length = num_text(static_cast<xp_num*>(object), text);
  if (!buffer || length <= 0) return length;
  if (static_cast<uint32_t>(length) > size) length = static_cast<int32_t>(size);
  memcpy(buffer, text, static_cast<size_t>(length));
  return length;
}

static xp_word num_control(xp_object* object, int32_t selector, uint32_t argument, void* pointer) {
  const auto* num = static_cast<xp_num*>(object);
  xp_flat_payload payload;
  switch (selector) {
    case XP_CTL_FLATTEN:  // decimals are not kept: the form knows whole numbers only
      return xp_flat_put_number(static_cast<xp_flat_writer*>(pointer), argument, XP_NUM,
                                static_cast<uint64_t>(num->integer), 8);
    case XP_CTL_UNFLATTEN:
      if (!xp_flat_open(pointer, XP_NUM, argument, &payload)) return 0;
      return reinterpret_cast<xp_word>(
          xp_num_new(static_cast<int64_t>(xp_flat_number(&payload, 8))));
    case XP_CTL_EMPTY:
      return num->decimals ? num->real == 0.0 : num->integer == 0;
    default:
      return 0;
  }
}

static xp_num* num_alloc() {
  auto* num = xp_object_new<xp_num>(XP_NUM);
  if (!num) return nullptr;
  num->compare = num_compare;
  num->render = num_render;
  num->control = num_control;
  return num;
}

xp_num* xp_num_new(int64_t value) {
  const bool is_shared = static_cast<uint64_t>(value) < SHARED_COUNT;
  if (is_shared && shared[value]) return xp_retain(shared[value]);
  xp_num* num = num_alloc();
  if (!num) return nullptr;
  num->integer = value;
  num->real = static_cast<double>(value);
  if (is_shared) shared[value] = xp_retain(num);
  return num;
}

xp_num* xp_num_parse(const char* text, int32_t length) {
  xp_num* num = num_alloc();
  if (!num) return nullptr;
  const xp_decimal decimal = xp_decimal_scan(text, length < 0 ? xp_text_length(text) : length);
  num->real = xp_decimal_real(&decimal);
  const uint64_t whole = decimal.scale ? decimal.digits / decimal.scale : decimal.digits;
  num->integer = static_cast<int64_t>(decimal.negative ? 0 - whole : whole);
  // 12.00 is the whole number 12; 12.50 has two decimals and shows both.
  if (decimal.nonzero_fraction) num->decimals = static_cast<uint32_t>(decimal.fraction_digits);
  return num;
}
