#include "document/xp_soap.h"

#include <gtest/gtest.h>

#include "tests/document/trees.h"
#include "tests/support/fakes.h"

TEST(Soap, ElementsBecomeTextsAndDictionaries) {
  struct {
    const char* text;
    const char* tree;  // "": refused
  } const rows[] = {
      {"<soap:Envelope xmlns:soap=\"u\"><soap:Body><a>1</a><a>2</a><b>3</b></soap:Body>"
       "</soap:Envelope>",
       R"({"Body": {"a": ["1", "2"], "b": "3"}})"},
      {"<Envelope/>", "{}"},
      {"<x:ENVELOPE><y/></x:ENVELOPE>", "{}"},
      {"<:Envelope/>", "{}"},
      {"<Envelope>x</Envelope>", R"("x")"},
      {"<Envelope>\n <p:q:r>x</p:q:r>\n</Envelope>", R"({"q:r": "x"})"},
      {"<Envelope><p:>x</p:></Envelope>", "{}"},  // an empty key is none
      {"<Envelope><a>1</a><A>2</A><p:a><b>3</b></p:a></Envelope>",
       R"({"a": ["1", "2", {"b": "3"}]})"},
      {"<Envelope><a><![CDATA[<x>]]></a></Envelope>", R"({"a": "<x>"})"},
      {"<Envelope><a/><a>1</a><a></a></Envelope>", R"({"a": "1"})"},  // empty elements disappear
      {"<!-- c --><?pi?><Envelope/>", "{}"},
      {"<Envelope><a>1<b/></a></Envelope>", ""},
      {"<Envelope><a><b>1</b>x</a></Envelope>", ""},
      {"<Envelope><a>1<!-- c -->2</a></Envelope>", ""},
      {"<Envelope><Envelope/></Envelope>", ""},
      {"<Envelope><x:envelope/></Envelope>", ""},
      {"<XEnvelope/>", ""},
      {"<Envelop/>", ""},
      {"x<Envelope/>", ""},
      {"<Envelope><a>1</a>", ""},
  };
  for (const auto& row : rows)
    EXPECT_EQ(parsed(row.text), row.tree) << row.text;
}

TEST(Soap, AttributesCostNothing) {
  std::string text = "<Envelope";
  for (int i = 0; i < 300; i++)
    text += " attribute-" + std::to_string(i) + "='value'";
  EXPECT_EQ(parsed((text + "><a b='c'>1</a></Envelope>").c_str()), R"({"a": "1"})");
}

TEST(Soap, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch& watch) {
    xp_ref<xp_plst> document(
        xp_plst_parse("<Envelope><Body><a>1</a><a>2</a><a><b>3</b></a><c/></Body></Envelope>"));
    EXPECT_TRUE(document || watch.failed());
  });
}
