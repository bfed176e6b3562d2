#include "document/xp_xmlrpc.h"

#include <gtest/gtest.h>

#include "tests/document/trees.h"
#include "tests/support/fakes.h"

namespace {

std::string value(const std::string& text) {
  return parsed(("<methodResponse><params><param><value>" + text +
                 "</value></param></params></methodResponse>")
                    .c_str());
}

std::string one(const std::string& tree) {
  return "{\"params\": [" + tree + "]}";
}

}  // namespace

TEST(XmlRpc, Messages) {
  struct {
    const char* text;
    const char* tree;
  } const rows[] = {
      {"<methodCall><methodName>m</methodName><params><param><value><int>5</int></value></param>"
       "<param><value>x</value></param></params></methodCall>",
       R"({"methodName": "m", "params": [5, "x"]})"},
      {"<?xml version='1.0'?>\n<METHODCALL>\n <methodName>m</methodName>\n</methodCall>",
       R"({"methodName": "m"})"},
      {"<methodCall/>", "{}"},
      {"<methodResponse><params/></methodResponse>", R"({"params": []})"},
      {"<methodResponse><params></params></methodResponse>", R"({"params": []})"},
      {"<methodResponse><fault><value><struct><member><name>faultCode</name><value><int>4</int>"
       "</value></member></struct></value></fault></methodResponse>",
       R"({"fault": {"faultCode": 4}})"},
      // Behind the end of the root nothing counts any more.
      {"<methodCall/><methodCall/>", "{}"},
      {"<methodCall/>x", "{}"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(parsed(row.text), row.tree) << row.text;
}

TEST(XmlRpc, ValuesOfEachType) {
  struct {
    const char* text;
    const char* tree;
  } const rows[] = {
      {"x", R"("x")"},
      {"", R"("")"},
      {" ", R"(" ")"},
      {"<string>a &amp; b</string>", R"("a &amp; b")"},
      {"<string/>", R"("")"},
      {"<string> </string>", R"(" ")"},
      {"\n <i4>7</i4>\n ", "7"},  // text around the type is ignored
      {"x<i4>7</i4>y", "7"},
      {"<int>-1</int>", "4294967295"},
      {"<int/>", "0"},
      {"<double>-1.25</double>", "-1.25"},
      {"<double/>", "0"},
      {"<boolean>true</boolean>", "true"},
      {"<boolean>1</boolean>", "false"},
      {"<boolean/>", "true"},
      {"<base64>QUJD</base64>", "<414243>"},
      {"<base64/>", "<>"},
      {"<dateTime.iso8601>19980717T14:08:55</dateTime.iso8601>", "date(900684535)"},
      {"<dateTime.iso8601>1998-07-17T14:08:55Z</dateTime.iso8601>", "date(900684535)"},
      {"<struct/>", "{}"},
      {"<struct><member><name>a</name><value>1</value></member>"
       "<member><name>A</name><value/></member></struct>",
       R"({"A": "", "a": "1"})"},
      {"<array/>", "[]"},
      {"<array><data/></array>", "[]"},
      {"<array><data><value>a</value><value><array><data><value>b</value></data></array></value>"
       "</data></array>",
       R"(["a", ["b"]])"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(value(row.text), one(row.tree)) << row.text;
}

TEST(XmlRpc, WhatIsOutOfPlaceRefusesTheMessage) {
  static const char* const messages[] = {
      "<methodCall>",
      "<methodCall>x</methodCall>",
      "<methodCall><param/></methodCall>",
      "<methodCall><fault/></methodCall>",
      "<methodCall><methodName/></methodCall>",
      "<methodCall><methodName> </methodName></methodCall>",
      "<methodResponse><methodName>m</methodName></methodResponse>",
      "<methodResponse><methodResponse/></methodResponse>",
      "<params/>",
      "<methodResponse><params><value>1</value></params></methodResponse>",
  };
  for (const char* message : messages)
    EXPECT_EQ(parsed(message), "") << message;
  static const char* const values[] = {
      "<base64>!</base64>",
      "<int> </int>",
      "<dateTime.iso8601>yesterday</dateTime.iso8601>",
      "<nil/>",
      "<int><int>1</int></int>",
      "<array>x</array>",
      "<array><value>1</value></array>",
      "<struct><member><name/><value>1</value></member></struct>",
      "<struct><member><value>1</value></member></struct>",
      "<struct><value>1</value></struct>",
  };
  for (const char* text : values)
    EXPECT_EQ(value(text), "") << text;
}

TEST(XmlRpc, EveryAllocationMayFail) {
  sweep_allocations([](heap_watch& watch) {
    xp_ref<xp_plst> document(xp_plst_parse(
        "<methodCall><methodName>m</methodName><params><param><value><struct><member><name>a"
        "</name><value><array><data><value>x</value><value><int>99</int></value><value><double>1"
        "</double></value><value><base64>QUJD</base64></value><value/></data></array></value>"
        "</member></struct></value></param></params></methodCall>"));
    EXPECT_TRUE(document || watch.failed());
  });
}
