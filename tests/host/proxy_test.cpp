#include "platform/proxy.h"

#include "tests/support/fakes.h"
#include "tests/support/host/test_machine.h"

namespace {

std::string plain(const char16_t* list) {
  std::string text;
  for (const char16_t* at = list ? list : u"none"; *at; at++)
    text.push_back(static_cast<char>(*at));
  return text;
}

}  // namespace

TEST(Proxy, ListsComeFromTheRehearsalOrFromWinHttp) {
  const std::string winhttp =
      "[HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Connections]\n";
  const std::string rehearsal = "[HKLM\\SOFTWARE\\Ruvo\\Rehearsal]\n";
  struct {
    std::string registry;
    const char* expected;
    const char* why;
  } rows[] = {
      {"", "none|none", "nothing set"},
      {winhttp + "\"WinHttpSettings\"=hex:18,00,00,00,00,00,00,00,03,00,00,00,"
                 "04,00,00,00,70,3a,38,30,02,00,00,00,61,62\n",
       "p:80|ab", "as netsh stores it"},
      {winhttp + "\"WinHttpSettings\"=hex:18,00,00,00,00,00,00,00,01,00,00,00,"
                 "04,00,00,00,70,3a,38,30,02,00,00,00,61,62\n",
       "none|none", "flags say direct"},
      {winhttp + "\"WinHttpSettings\"=hex:18,00,00,00,00,00,00,00,03,00,00,00,ff,ff,ff,ff,70\n",
       "failed", "a length beyond the end"},
      {winhttp + "\"WinHttpSettings\"=hex:18\n", "failed", "too short"},
      {rehearsal + "\"Proxy\"=\"http=a:1;https=b:2\"\n\"ProxyBypass\"=\"<local>\"\n",
       "http=a:1;https=b:2|<local>", "plain texts"},
      {rehearsal + "\"Proxy\"=\"\"\n", "none|none", "an empty text"},
  };
  for (const auto& row : rows) {
    test_machine machine;
    machine.write("registry.reg", row.registry);
    char16_t *proxy = nullptr, *bypass = nullptr;
    std::string found = "failed";
    if (xp_platform->proxy->defaults(&proxy, &bypass)) found = plain(proxy) + "|" + plain(bypass);
    EXPECT_EQ(found, row.expected) << row.why;
    xp_heap_free(proxy);
    xp_heap_free(bypass);
  }
}
