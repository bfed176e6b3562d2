#include "codec/xp_random.h"

#include <string>

#include "tests/support/fakes.h"

namespace {

int fills;
int clock_readings;

std::string hex(const uint8_t* bytes, size_t count) {
  std::string out;
  for (size_t i = 0; i < count; i++) {
    char digits[3];
    snprintf(digits, sizeof(digits), "%02x", bytes[i]);
    out += digits;
  }
  return out;
}

// A source of 0, 1, 2 ... 15 and a clock that stands.
struct known_sources : fake_platform {
  known_sources() {
    fills = clock_readings = 0;
    random.fill = [](void* out, uint32_t length) {
      fills++;
      for (uint32_t i = 0; i < length; i++)
        static_cast<uint8_t*>(out)[i] = static_cast<uint8_t>(i);
      return true;
    };
    clock.utc = [](xp_system_time* out) {
      clock_readings++;
      *out = {2012, 2, 3, 29, 1, 2, 3, 4};
    };
    clock.ticks = [] { return uint32_t{0x01020304}; };
  }

  // Stirs until the platform's source has filled the pool, which it does within 2^20 stirs.
  static void stir_to_refill() {
    const int before = fills;
    for (int i = 0; i <= 1 << 20 && fills == before; i++)
      xp_random_stir(0xA0B0C0D0);
    ASSERT_EQ(fills, before + 1);
  }
};

}  // namespace

TEST(Random, BytesFollowFromTheSources) {
  known_sources sources;
  known_sources::stir_to_refill();
  uint8_t bytes[9] = {};
  xp_random_bytes(bytes, 4);
  // MD4 of the pool, three times over, by another implementation.
  EXPECT_EQ(hex(bytes, 5), "24037bc700");
  xp_random_bytes(bytes, 9);
  EXPECT_EQ(hex(bytes, 9), "b9bccd34eca74eb1f2");
}

TEST(Random, EachStirGivesEightBytes) {
  known_sources sources;
  known_sources::stir_to_refill();
  uint8_t bytes[16];
  xp_random_bytes(bytes, 0);  // no stir
  xp_random_bytes(bytes, 4);  // one
  xp_random_bytes(bytes, 9);  // two
  clock_readings = 0;
  int stirs = 0;
  for (; clock_readings == 0; stirs++)
    xp_random_stir(0);
  EXPECT_EQ(stirs, 128 - 3) << "the clock goes in at each 128th stir";
}

TEST(Random, SourceIsAskedOnceInManyStirs) {
  known_sources sources;
  known_sources::stir_to_refill();
  int stirs = 0;
  for (; fills == 1; stirs++)
    xp_random_stir(0);
  EXPECT_EQ(stirs, 1 << 20);
}

TEST(Random, WithoutASourceTheClockDoes) {
  known_sources sources;
  sources.random.fill = [](void*, uint32_t) {
    fills++;
    return false;
  };
  known_sources::stir_to_refill();
  uint8_t first[8] = {}, second[8] = {};
  xp_random_bytes(first, 8);
  xp_random_bytes(second, 8);
  EXPECT_NE(hex(first, 8), hex(second, 8));
  EXPECT_NE(hex(first, 8), "0000000000000000");
}
