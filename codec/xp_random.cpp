#include "codec/xp_random.h"

#include <string.h>

#include <bit>

#include "platform/platform.h"

namespace {

constexpr uint32_t POOL = 16;
constexpr uint32_t REFILL_MASK = 0xFFFFF;
constexpr uint32_t CLOCK_MASK = 0x7F;

uint8_t pool[POOL];
uint32_t stirs;

// ---- MD4 ---------------------------------------------------------------------------------------

uint32_t load_little_endian(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[3]) << 24 | static_cast<uint32_t>(bytes[2]) << 16 |
         static_cast<uint32_t>(bytes[1]) << 8 | bytes[0];
}

void store_little_endian(uint8_t* out, uint32_t word) {
  for (int i = 0; i < 4; i++)
    out[i] = static_cast<uint8_t>(word >> (8 * i));
}

struct md4_round {
  uint32_t constant;
  uint8_t order[16];  // of the words
  uint8_t shifts[4];
};

constexpr md4_round md4_rounds[3] = {
    {0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}, {3, 7, 11, 19}},
    {0x5A827999, {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15}, {3, 5, 9, 13}},
    {0x6ED9EBA1, {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15}, {3, 9, 11, 15}},
};

uint32_t md4_mix(uint32_t round, uint32_t x, uint32_t y, uint32_t z) {
  switch (round) {
    case 0:
      return (x & y) | (~x & z);
    case 1:
      return (x & y) | (x & z) | (y & z);
    default:
      return x ^ y ^ z;
  }
}

// A message that fits one block with its padding: at most 55 bytes.
struct md4_message {
  uint8_t block[64];
  uint32_t length;

  void add(const void* bytes, uint32_t count) {
    memcpy(block + length, bytes, count);
    length += count;
  }
  void add_word(uint32_t word) {
    store_little_endian(block + length, word);
    length += 4;
  }
};

void md4(md4_message& message, uint8_t (&digest)[16]) {
  constexpr uint32_t initial[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  message.block[message.length] = 0x80;
  store_little_endian(message.block + 56, message.length * 8);
  uint32_t s[4] = {initial[0], initial[1], initial[2], initial[3]};
  for (uint32_t round = 0; round < 3; round++) {
    const md4_round& row = md4_rounds[round];
    for (uint32_t i = 0; i < 16; i++) {
      const uint32_t word = load_little_endian(message.block + 4 * row.order[i]);
      const uint32_t sum = s[0] + md4_mix(round, s[1], s[2], s[3]) + word + row.constant;
      const uint32_t b = std::rotl(sum, row.shifts[i % 4]);
      s[0] = s[3];
      s[3] = s[2];
      s[2] = s[1];
      s[1] = b;
    }
  }
  for (uint32_t i = 0; i < 4; i++)
    store_little_endian(digest + 4 * i, initial[i] + s[i]);
}

}  // namespace

void xp_random_stir(uint32_t mix) {
  // Without the platform's source the pool stays as it is, and the clock has to do.
  if ((stirs & REFILL_MASK) == 0) (void)xp_platform->random->fill(pool, POOL);
  md4_message message = {};
  message.add(pool, POOL);
  if ((stirs & CLOCK_MASK) == 0) {
    xp_system_time now = {};
    xp_platform->clock->utc(&now);
    static_assert(sizeof(now) == 16);
    message.add(&now, sizeof(now));
    message.add_word(xp_platform->clock->ticks());
    message.add_word(mix);
  }
  md4(message, pool);
  stirs++;
}

void xp_random_bytes(void* buffer, uint32_t count) {
  constexpr uint32_t BYTES_A_STIR = POOL / 2;
  const auto mix = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(buffer));
  auto* out = static_cast<uint8_t*>(buffer);
  while (count > 0) {
    xp_random_stir(mix);
    const uint32_t made = count < BYTES_A_STIR ? count : BYTES_A_STIR;
    for (uint32_t i = 0; i < made; i++)
      out[i] = pool[2 * i] ^ pool[2 * i + 1];
    out += made;
    count -= made;
  }
}
