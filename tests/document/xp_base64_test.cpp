#include "document/xp_base64.h"

#include <gtest/gtest.h>

#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

std::string encode(const std::vector<std::string>& pieces) {
  std::vector<xp_byte_span> spans;
  for (const std::string& piece : pieces)
    spans.push_back({piece.data(), static_cast<int32_t>(piece.size())});
  const auto count = static_cast<int32_t>(spans.size());
  const int32_t length = xp_base64_encode(spans.data(), count, nullptr, 0);
  std::string text(static_cast<size_t>(length), '?');
  EXPECT_EQ(xp_base64_encode(spans.data(), count, text.data(), length), length);
  return text;
}

// The bytes, or "invalid". Measuring and writing have to agree.
std::string decode(const std::string& text) {
  const xp_byte_span span = {text.data(), static_cast<int32_t>(text.size())};
  const int32_t length = xp_base64_decode(span, nullptr, 0);
  std::string bytes(text.size() + 8, '?');
  EXPECT_EQ(xp_base64_decode(span, bytes.data(), static_cast<int32_t>(bytes.size())), length);
  if (length < 0) return "invalid";
  bytes.resize(static_cast<size_t>(length));
  return bytes;
}

std::string some_bytes(size_t count) {
  std::string bytes(count, 0);
  for (size_t i = 0; i < count; i++)
    bytes[i] = static_cast<char>(i * 167 + i / 256);
  return bytes;
}

}  // namespace

TEST(Base64, Encodes) {
  EXPECT_EQ(encode({""}), "");
  EXPECT_EQ(encode({"A"}), "QQ==");
  EXPECT_EQ(encode({"AB"}), "QUI=");
  EXPECT_EQ(encode({"ABC"}), "QUJD");
  EXPECT_EQ(encode({"\xFB\xFF\xBF"}), "+/+/");
  EXPECT_EQ(encode({"Many hands make light work."}), "TWFueSBoYW5kcyBtYWtlIGxpZ2h0IHdvcmsu");
}

TEST(Base64, SpansAreOneRunOfBytes) {
  const std::string bytes = some_bytes(100);
  const std::string whole = encode({bytes});
  for (size_t cut = 0; cut <= bytes.size(); cut++)
    EXPECT_EQ(encode({bytes.substr(0, cut), "", bytes.substr(cut)}), whole) << cut;
  std::vector<std::string> single;
  for (const char c : bytes)
    single.push_back(std::string(1, c));
  EXPECT_EQ(encode(single), whole);
  const xp_byte_span none = {nullptr, -1};
  EXPECT_EQ(xp_base64_encode(&none, 1, nullptr, 0), 0);
}

TEST(Base64, TextThatDoesNotFit32BitsIsRefused) {
  const xp_byte_span huge = {"", INT32_MAX};
  char text[4] = "x";
  EXPECT_EQ(xp_base64_encode(&huge, 1, nullptr, 0), -1);
  EXPECT_EQ(xp_base64_encode(&huge, 1, text, 4), -1);
  EXPECT_STREQ(text, "x");
}

TEST(Base64, Decodes) {
  static const struct {
    const char* text;
    const char* bytes;
  } rows[] = {
      {"", ""},
      {"QUJD", "ABC"},
      {"QUI=", "AB"},
      {"QUI", "AB"},
      {"QQ==", "A"},
      {"QQ", "A"},
      {"Q U\nJ\tD\r", "ABC"},
      {" Q Q = = ", "A"},
      {"-_+/", "\xFB\xFF\xBF"},
      {"QUJDQUJDQUJDQUJDQQ", "ABCABCABCABCA"},
      {"QUJDQUJD\r\nQUJDQU\r\nJDQQ==\r\n", "ABCABCABCABCA"},
      // Bits behind the last byte don't matter.
      {"QR", "A"},
      // Not valid.
      {"Q", "invalid"},
      {"QUJDQ", "invalid"},
      {"Q===", "invalid"},
      {"QQ=", "invalid"},
      {"QQ==QQ==", "invalid"},
      {"QQ==Q", "invalid"},
      {"QUI==", "invalid"},
      {"QQ===", "invalid"},
      {"=", "invalid"},
      {"QUJD=", "invalid"},
      {"QUJD!", "invalid"},
      {"!QUJDQUJD", "invalid"},
      {"QUJDQUJ\x80", "invalid"},
      {"QUJDQUJD\v", "invalid"},
      {"QUJDQUJD\f", "invalid"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(decode(row.text), row.bytes) << row.text;
  EXPECT_EQ(decode(std::string("QUJD\0", 5)), "invalid") << "a NUL is no end";
  EXPECT_EQ(xp_base64_decode({nullptr, -1}, nullptr, 0), 0);
}

TEST(Base64, DecodesWhatItEncodes) {
  for (size_t length = 0; length < 200; length++) {
    const std::string bytes = some_bytes(length);
    std::string text = encode({bytes});
    ASSERT_EQ(decode(text), bytes) << length;
    for (size_t line = 10; line < text.size(); line += 12)
      text.insert(line, "\r\n");
    ASSERT_EQ(decode(text), bytes) << length << ", in lines";
  }
}

TEST(Base64, EveryByteIsDataOrBlankOrInvalid) {
  for (int c = 0; c < 256; c++) {
    const char byte = static_cast<char>(c);
    const bool data = isalnum(c) || strchr("+/-_", c);
    const bool blank = c != 0 && strchr("\t\n\r ", c);
    const std::string got = decode(std::string("QUJDQUJDQUI") + byte);
    const bool valid = got != "invalid";
    EXPECT_EQ(valid, (data && c != 0) || blank || byte == '=') << c;
    EXPECT_EQ(got.size() == 9, data && c != 0) << c;
  }
}

TEST(Base64, WritesWhatFits) {
  const std::string bytes = some_bytes(40);
  const std::string text = encode({bytes});
  const xp_byte_span raw = {bytes.data(), 40};
  const xp_byte_span encoded = {text.data(), static_cast<int32_t>(text.size())};
  for (int32_t size = -1; size <= 60; size++) {
    const auto fits = [size](int32_t whole) { return size < 0 ? 0 : std::min(size, whole); };
    // Blocks of the very size, so that AddressSanitizer sees a byte too many.
    std::vector<char> out(static_cast<size_t>(fits(100)));
    char none = 0;
    char* buffer = out.empty() ? &none : out.data();
    ASSERT_EQ(xp_base64_encode(&raw, 1, buffer, size), fits(56)) << size;
    ASSERT_EQ(memcmp(buffer, text.data(), static_cast<size_t>(fits(56))), 0) << size;
    ASSERT_EQ(xp_base64_decode(encoded, buffer, size), fits(40)) << size;
    ASSERT_EQ(memcmp(buffer, bytes.data(), static_cast<size_t>(fits(40))), 0) << size;
    ASSERT_EQ(none, 0) << size;
  }
  char small[2];
  EXPECT_EQ(xp_base64_decode({"QUJDQUJD!", 9}, small, 2), -1) << "invalid behind the buffer's end";
  EXPECT_EQ(small[1], 'B') << "what came before is written";
}
