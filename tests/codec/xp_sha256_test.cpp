#include "codec/xp_sha256.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string digest(const std::string& message, uint32_t piece = UINT32_MAX) {
  xp_sha256 state;
  xp_sha256_init(&state);
  for (size_t at = 0; at < message.size();) {
    const size_t length = std::min<size_t>(piece, message.size() - at);
    xp_sha256_update(&state, message.data() + at, static_cast<uint32_t>(length));
    at += length;
  }
  xp_sha256_update(&state, nullptr, 0);
  xp_sha256_final(&state);
  char text[65];
  for (int i = 0; i < 8; i++)
    snprintf(text + 8 * i, 9, "%08x", state.h[i]);
  return text;
}

// Each test runs with every engine that this processor supports.
class Sha256 : public testing::TestWithParam<size_t> {
 protected:
  void SetUp() override {
    const xp_sha256_engine* engine = xp_sha256_engines[GetParam()];
    if (!engine->supported()) GTEST_SKIP() << engine->name << " isn't supported here";
    xp_sha256_use(engine);
    ASSERT_EQ(xp_sha256_engine_in_use(), engine);
  }
  void TearDown() override { xp_sha256_use(nullptr); }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Engine, Sha256, testing::Range<size_t>(0, XP_SHA256_ENGINES));

TEST_P(Sha256, KnownDigests) {
  static const struct {
    std::string message;
    const char* digest;
  } rows[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(1000000, 'a'),
       "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
      // One final block, then two, then a whole block before the padding.
      {std::string(55, 'a'), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
      {std::string(56, 'a'), "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a"},
      {std::string(64, 'a'), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(digest(row.message), row.digest) << row.message.size() << " bytes";
}

TEST_P(Sha256, PiecesGiveTheDigestOfTheWhole) {
  std::string message(1000, 0);
  for (size_t i = 0; i < message.size(); i++)
    message[i] = static_cast<char>(i * 7);
  const std::string whole = digest(message);
  for (const uint32_t piece : {1u, 63u, 64u, 65u, 128u, 999u})
    EXPECT_EQ(digest(message, piece), whole) << piece;
}

TEST_P(Sha256, AgreesWithPlainCodeAtEveryLength) {
  std::string message;
  for (uint32_t length = 0; length < 520; length++) {
    message += static_cast<char>(length * 251 + 17);
    xp_sha256_use(xp_sha256_engines[GetParam()]);
    const std::string mine = digest(message);
    xp_sha256_use(&xp_sha256_portable);
    ASSERT_EQ(mine, digest(message)) << length;
  }
}

TEST_P(Sha256, CountOfBitsIsOf64) {
  // As after 2^29 bytes: the count needs its high word.
  xp_sha256 state;
  xp_sha256_init(&state);
  state.bits = uint64_t{1} << 32;
  xp_sha256_final(&state);
  EXPECT_EQ(state.block[59], 1);
  EXPECT_EQ(state.block[63], 0);
}

TEST(Sha256Engines, TheFastestSupportedOneIsChosen) {
  xp_sha256_use(nullptr);
  const xp_sha256_engine* chosen = xp_sha256_engine_in_use();
  EXPECT_TRUE(chosen->supported());
  for (size_t i = 0; xp_sha256_engines[i] != chosen; i++)
    EXPECT_FALSE(xp_sha256_engines[i]->supported());
}
