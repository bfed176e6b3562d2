#include "update/ruvo_proxy.h"

#include <string.h>
#include <string>

#include "object/xp_ref.h"
#include "object/xp_str.h"
#include "tests/support/fakes.h"

namespace {

struct choice {
  const char* reason;
  const char* url;
  const char* proxies;
  const char* bypass;
  const char* expected;  // null for a direct connection
};

constexpr choice choices[] = {
    {"one proxy for all", "https://a.b/x", "proxy:8080", "", "proxy:8080"},
    {"no configuration", "http://a.b/x", "", "", nullptr},
    {"the scheme's own proxy", "https://a.b/x", "http=a:80;https=b:443", "", "b:443"},
    {"no proxy for this scheme", "ftp://a.b/x", "http=a:80;https=b:443", "", nullptr},
    {"scheme of the proxy itself", "http://a.b/x", "http://a:80", "", "a:80"},
    {"foreign scheme of the proxy", "https://a.b/x", "http://a:80", "", nullptr},
    {"both marks", "http://a.b/x", "http=http://a:80", "", "a:80"},
    {"network form", "http://a.b/x", "//a:80", "", "a:80"},
    {"empty values are passed over", "http://a.b/x", "http= // =c:1 ://d:1 e:1", "", "e:1"},
    {"every separator", "http://a.b/x", " \t\r\n;;https=a:1;\tp:2", "", "p:2"},
    {"case of schemes", "HTTP://a.b/x", "http=p:1", "", "p:1"},
    {"no scheme means http", "a/b.msi", "https=s:1 http=p:1", "", "p:1"},
    {"a mark at the front is none", "://a.b", "http=p:1", "", "p:1"},
    {"a local name", "http://server/x", "p:1", "<local>", nullptr},
    {"a dot in the path", "http://server/x.msi", "p:1", "<local>", "p:1"},
    {"a port ends the host", "http://updates.example:8080/x", "p:1", "updates.example", nullptr},
    {"tokens have no port", "http://updates.example:8080/x", "p:1", "updates.example:8080", "p:1"},
    {"case of hosts", "http://Updates.Example:1", "p:1", "x;UPDATES.example", nullptr},
    {"no wildcards", "http://a.example:1", "p:1", "*.example", "p:1"},
    {"an empty URL is no local name", "", "p:1", "<local>", "p:1"},
};

TEST(RuvoProxy, ChoosesByThePortlessHostAndTheScheme) {
  for (const choice& row : choices) {
    const xp_ref<xp_str> url(xp_str_new(row.url));
    const xp_ref<xp_str> proxies(xp_str_new(row.proxies));
    const xp_ref<xp_str> bypass(xp_str_new(row.bypass));
    const xp_ref<xp_str> chosen(ruvo_choose_proxy(url.get(), proxies.get(), bypass.get()));
    ASSERT_EQ(chosen.get() == nullptr, row.expected == nullptr) << row.reason;
    EXPECT_STREQ(xp_str_text(chosen.get()), row.expected ? row.expected : "") << row.reason;
  }
}

const char16_t* listed_proxies;
const char16_t* listed_bypass;

char16_t* copy_of(const char16_t* wide) {
  if (!wide) return nullptr;
  const size_t size = (static_cast<size_t>(xp_wide_length(wide)) + 1) * sizeof(char16_t);
  auto* copy = static_cast<char16_t*>(xp_heap_alloc(size));
  if (copy) memcpy(copy, wide, size);
  return copy;
}

bool listed(char16_t** proxies, char16_t** bypass) {
  *proxies = copy_of(listed_proxies);
  *bypass = copy_of(listed_bypass);
  return true;
}

TEST(RuvoProxy, AsksTheComputerAndFreesBothLists) {
  fake_platform fake;
  fake.proxy.defaults = listed;
  listed_proxies = u"http=p\u00e4:1";
  listed_bypass = u"a.b";
  sweep_allocations([](heap_watch& watch) {
    const xp_ref<xp_str> url(xp_str_new_constant("http://c.d/x"));
    const xp_ref<xp_str> chosen(ruvo_system_proxy(url.get()));
    if (watch.failed()) return;
    ASSERT_STREQ(xp_str_text(chosen.get()), "p\xc3\xa4:1");
  });
  listed_proxies = listed_bypass = nullptr;
  const xp_ref<xp_str> url(xp_str_new("http://c.d/x"));
  EXPECT_EQ(ruvo_system_proxy(url.get()), nullptr);
  fake.proxy.defaults = [](char16_t**, char16_t**) { return false; };
  EXPECT_EQ(ruvo_system_proxy(url.get()), nullptr);
}

}  // namespace
