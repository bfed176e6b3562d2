// Texts that were made to cost: no shape of text may take more than time in proportion to its
// length, and a document of the size of the settings is read at once. The bounds are wide, for busy
// machines; a reader whose time grows with the square of the length misses them by far.
#include <gtest/gtest.h>

#include <string.h>

#include <string>

#include "document/xp_plst.h"
#include "object/xp_ref.h"

namespace {

struct shape {
  const char* name;
  const char* head;
  const char* repeated;
  const char* tail;
};

constexpr shape shapes[] = {
    {"nested arrays", "<plist>", "<array>", ""},
    {"nested envelopes", "<Envelope>", "<a>", ""},
    {"empty tags", "", "<", ""},
    {"end tags", "<a>", "</", ""},
    {"one element after the other", "<plist><array>", "<true/>", "</array></plist>"},
    {"empty containers", "<plist><array>", "<dict/><array/>", "</array></plist>"},
    {"keys alone", "<plist><dict>", "<key>k</key>", "</dict></plist>"},
    {"attributes", "<plist a='1' ", "b='1' ", "></plist>"},
    {"attributes that are dropped", "<Envelope ", "b='1' ", "/>"},
    {"open quotes", "<a ", "b='", ""},
    {"brackets", "<!DOCTYPE p ", "[(<{\"", ">"},
    {"declarations", "", "<!DOCTYPE p [<!ENTITY e '>'>]>", ""},
    {"comments", "<plist><!--", "<!-- ", ""},
    {"sections behind text", "<plist><string>", "x<![CDATA[ ]]>", "</string></plist>"},
    {"open sections", "<plist><string>", "<![CDATA[", ""},
    {"ends of sections", "<plist><string><![CDATA[", "]]", ""},
    {"instructions", "", "<?a b='c'?>", ""},
    {"one text", "<plist><string>", "a", "</string></plist>"},
    {"one blank", "<plist>", " ", "</plist>"},
    {"bytes", "<plist><data>", "QUJD", "</data></plist>"},
    {"children of one name", "<Envelope>", "<a>1</a>", "</Envelope>"},
    {"texts beside elements", "<Envelope>", "x<a/>", "</Envelope>"},
    {"members without a value", "<methodCall><params><param><value><struct>",
     "<member><name>a</name></member>", ""},
    {"text in a value", "<methodCall><params><param><value>", "x<!-- -->", ""},
    {"texts of a field of fields", "<item><field label='a' type='dict'>", "x<!-- -->", "</field>"},
    {"fields of one label", "<item>", "<field label='a'>1</field>", "</item>"},
    {"words of one source", "<dict>", "<string>a</string><translation>b</translation>", "</dict>"},
    {"JSON arrays", "{\"a\":", "[", ""},
    {"JSON objects", "", "{\"a\":", ""},
    {"JSON values", "{\"a\":[", "1 \"x\",", "]}"},
    {"JSON escapes", "{\"a\":\"", "\\n", "\"}"},
    {"JSON keys", "{", "\"a\":1,", "}"},
    {"sections", "", "[s]\nk=a:b\n", ""},
    {"one section line", "[s]:", "\\", ""},
    {"rules", "", "a{b:c}", ""},
    {"rule comments", "", "/* { */", ""},
    {"form pairs of one key", "", "a=1&", "a=2"},
    {"form pairs of no key", "", "=&", ""},
    {"percent signs", "a=", "%", ""},
    {"plain bytes", "", "a", ""},
    {"high bytes", "<a", "\xC3", ">"},
};

std::string text_of(const shape& shape, size_t size) {
  const std::string repeated = shape.repeated;
  std::string text = shape.head;
  while (text.size() + repeated.size() < size)
    text += repeated;
  return text + shape.tail;
}

// Reads a text and looks its root up; whether a document came of it.
bool is_read(const std::string& text) {
  xp_ref<xp_plst> document(xp_plst_parse(text.c_str()));
  xp_ref<> found(xp_plst_lookup(document.get(), "/@"));
  return static_cast<bool>(document);
}

}  // namespace

TEST(HostileDocument, ALargeOneIsJudgedLikeASmallOneInLinearTime) {
  // Were the time the square of the size, this would not come to an end within any limit on the
  // whole test program.
  for (const shape& shape : shapes)
    EXPECT_EQ(is_read(text_of(shape, 2'000'000)), is_read(text_of(shape, 32767))) << shape.name;
}

TEST(HostileDocument, KeysAndValuesApartTakeLinearTime) {
  // Each value takes the newest of all keys that wait.
  std::string text = "<plist><dict>";
  for (int i = 0; i < 200000; i++)
    text += "<key>k</key>";
  for (int i = 0; i < 200000; i++)
    text += "<true/>";
  EXPECT_TRUE(is_read(text + "</dict></plist>"));
}

TEST(HostileDocument, ADocumentCutAnywhereIsReadOrRefused) {
  static const char* const whole[] = {
      "<?xml version='1.0'?><!DOCTYPE plist [<!ENTITY a \"b\">]><plist><dict><key>a</key><array>"
      "<string>x</string><data>QUJD</data><true/></array></dict></plist>",
      "<methodCall><methodName>m</methodName><params><param><value><struct><member><name>a</name>"
      "<value><int>1</int></value></member></struct></value></param></params></methodCall>",
      "<s:Envelope a='b'><s:Body><a>1</a><a><![CDATA[2]]></a></s:Body></s:Envelope>",
      "<list><item ident='1'><field label='a' type='long'>5</field><link href='u' rel='r'/></item>"
      "</list>",
      "{\"a\":[1,\"x\\n\",{\"b\":null}]}",
      "[s]\nk='a:b' ; c\n",
      "a { b: c; d: e }",
      "a=%41&b=+",
  };
  for (const char* text : whole) {
    const size_t length = strlen(text);
    for (size_t cut = 0; cut < length; cut++) {
      // A block of its own, so that the sanitizer sees a byte read beyond.
      const std::string part(text, cut);
      xp_ref<xp_plst> document(xp_plst_parse(part.c_str()));
      EXPECT_TRUE(!document || document->root) << part;
    }
    xp_ref<xp_plst> document(xp_plst_parse(text));
    EXPECT_TRUE(document) << text;
  }
}
