#include "object/xp_flat.h"

#include <string.h>

#include <string>

#include "object/xp_bool.h"
#include "object/xp_data.h"
#include "object/xp_date.h"
#include "object/xp_dict.h"
#include "object/xp_num.h"
#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/support/fakes.h"

namespace {

uint32_t flatten(xp_object* object, uint32_t key, xp_flat_writer* writer) {
  return static_cast<uint32_t>(xp_object_control(object, XP_CTL_FLATTEN, key, writer));
}

// One object's entry.
std::string entry_of(xp_object* object, uint32_t key) {
  uint8_t bytes[64];
  memset(bytes, 0xEE, sizeof(bytes));
  xp_flat_writer writer = {nullptr, bytes, sizeof(bytes), 0};
  const uint32_t size = flatten(object, key, &writer);
  EXPECT_EQ(writer.used, size);
  return std::string(reinterpret_cast<char*>(bytes), size);
}

xp_object* unflatten(xp_object* any, uint32_t key, const std::string& entry) {
  return reinterpret_cast<xp_object*>(
      xp_object_control(any, XP_CTL_UNFLATTEN, key, const_cast<char*>(entry.data())));
}

}  // namespace

TEST(Flat, EntriesByteForByte) {
  xp_ref yes(xp_bool_new(1));
  EXPECT_EQ(entry_of(yes.get(), 7), std::string("\7\0\0\0bool\0\0\0\4\0\0\0\1", 16));
  xp_ref text(xp_str_new("hello"));
  EXPECT_EQ(entry_of(text.get(), 0), std::string("\0\0\0\0xstr\0\0\0\5hello\0\0\0", 20));
  xp_ref empty(xp_str_new(""));
  EXPECT_EQ(entry_of(empty.get(), 0).size(), 12u);
  xp_ref num(xp_num_new(-2));
  EXPECT_EQ(entry_of(num.get(), 1),
            std::string("\1\0\0\0xnum\0\0\0\10\377\377\377\377\377\377\377\376", 20));
  xp_ref dict(xp_dict_new(0));
  EXPECT_EQ(entry_of(dict.get(), 1), "");
}

TEST(Flat, ValuesComeBack) {
  xp_ref text(xp_str_new_n("a\0b", 3));
  xp_ref data(xp_data_new("\1\2\3", 3));
  xp_ref date(xp_date_new(0x12345678));
  xp_ref num(xp_num_new(INT64_MIN + 5));
  xp_ref no(xp_bool_new(0));
  xp_ref three(xp_num_new(3));
  for (xp_object* each :
       {static_cast<xp_object*>(text.get()), static_cast<xp_object*>(data.get()),
        static_cast<xp_object*>(date.get()), static_cast<xp_object*>(num.get()),
        static_cast<xp_object*>(no.get()), static_cast<xp_object*>(three.get())}) {
    const std::string entry = entry_of(each, 9);
    xp_ref back(unflatten(each, 0, entry));
    ASSERT_TRUE(back);
    EXPECT_EQ(entry_of(back.get(), 9), entry);
    EXPECT_EQ(unflatten(each, 8, entry), nullptr);  // another key
    xp_object* stranger = each == text.get() ? static_cast<xp_object*>(no.get()) : text.get();
    EXPECT_EQ(unflatten(stranger, 0, entry), nullptr);  // another kind
    EXPECT_EQ(xp_object_control(each, XP_CTL_UNFLATTEN, 0, nullptr), 0u);
  }
  xp_ref shared(unflatten(num.get(), 9, entry_of(three.get(), 9)));
  EXPECT_EQ(shared.get(), three.get());
  xp_ref real(xp_num_parse("12.5", -1));
  xp_ref whole(xp_as_num(unflatten(real.get(), 0, entry_of(real.get(), 0))));
  EXPECT_EQ(whole->integer, 12);
  EXPECT_EQ(whole->decimals, 0u);
  xp_ref named(unflatten(text.get(), 0, std::string("\0\0\0\0text\0\0\0\2ab\0\0", 16)));
  EXPECT_EQ(named->tag, XP_STR);
}

TEST(Flat, SizingAndWritingAgreeAndTheBufferGrowsAsNeeded) {
  xp_ref text(xp_str_new("hello"));
  xp_ref num(xp_num_new(77));
  xp_flat_writer sizing = {};
  xp_flat_writer writer = {xp_data_new(nullptr, 8), nullptr, 8, 0};
  writer.bytes = writer.holder->bytes;
  for (xp_flat_writer* each : {&sizing, &writer}) {
    EXPECT_EQ(flatten(text.get(), 1, each), 20u);
    EXPECT_EQ(flatten(num.get(), 2, each), 20u);
    EXPECT_EQ(xp_flat_put(each, 3, xp_tag("none"), 6, nullptr), 20u);
  }
  EXPECT_EQ(sizing.used, 60u);
  EXPECT_EQ(writer.used, 60u);
  EXPECT_EQ(memcmp(writer.bytes + 52, "\0\0\0\0\0\0\0", 8), 0);
  xp_object_release(writer.holder);
  uint8_t small[16];
  xp_flat_writer fixed = {nullptr, small, sizeof(small), 0};
  EXPECT_EQ(flatten(text.get(), 1, &fixed), 0u);
  EXPECT_EQ(fixed.used, 0u);
  EXPECT_EQ(flatten(text.get(), 1, nullptr), 0u);
}

TEST(Flat, AFailedGrowthLeavesNoHolder) {
  xp_ref text(xp_str_new("hello"));
  sweep_allocations([&](heap_watch&) {
    xp_flat_writer writer = {xp_data_new(nullptr, 4), nullptr, 4, 0};
    if (!writer.holder) return;
    writer.bytes = writer.holder->bytes;
    if (!flatten(text.get(), 1, &writer)) {
      EXPECT_EQ(writer.holder, nullptr);
      EXPECT_EQ(flatten(text.get(), 1, &writer), 0u);
    }
    xp_object_release(writer.holder);
  });
}
