#include <string.h>

#include <string>

#include "paths/xp_file.h"
#include "paths/xp_path.h"
#include "tests/support/fakes.h"
#include "tests/support/temp_folder.h"

TEST(PathKnown, KindsNameTheirPlaces) {
  const xp_ref temp(xp_path_known(xp_tag("temp")));
  EXPECT_NE(text_of(temp).back(), '\\');
  EXPECT_EQ(xp_path_is_folder(temp.get()), XP_OK);
  const xp_ref drive(xp_path_known(xp_tag("sdrv")));
  EXPECT_EQ(text_of(drive).size(), 2u);
  const xp_block<char16_t> wide(xp_path_to_wide(drive.get()));
  EXPECT_EQ(std::u16string(wide.get()).substr(1), u":\\");
  const xp_ref program(xp_path_known(xp_tag("proc")));
  EXPECT_EQ(xp_path_is_folder(program.get()), XP_OK);
  const xp_ref unknown(xp_path_known(xp_tag("????")));
  const xp_ref windows(xp_path_known(xp_tag("swin")));
  EXPECT_EQ(xp_object_compare(unknown.get(), windows.get()), 0);
  const xp_ref cache(xp_path_known_child(xp_tag("temp"), "Tallyport"));
  EXPECT_EQ(text_of(cache), text_of(temp) + "\\Tallyport");
  const xp_ref same(xp_path_known_child(xp_tag("temp")));
  EXPECT_EQ(text_of(same), text_of(temp));
}

namespace {

uint32_t answering;  // bit for each source that has an answer

uint32_t fake_place(xp_folder_source source, char16_t* out, uint32_t) {
  static const char16_t* const places[] = {u"X:\\current",   u"X:\\bin\\program.exe",
                                           u"X:\\profiles",  u"X:\\pf32",
                                           u"X:\\pf64",      u"X:\\pf",
                                           u"X:\\pf-32",     u"X:\\common",
                                           u"X:\\local",     u"X:\\roaming",
                                           u"X:\\shared",    u"S:\\win\\system",
                                           u"X:\\sharedwin", u"X:\\windows",
                                           u"X:\\temp\\"};
  if (!(answering >> source & 1)) return 0;
  const std::u16string place = places[source];
  out[place.copy(out, place.size())] = 0;
  return static_cast<uint32_t>(place.size());
}

std::string known(const char* kind) {
  uint32_t tag;
  memcpy(&tag, kind, 4);
  return text_of(xp_ref(xp_path_known(tag)));
}

}  // namespace

TEST(PathKnown, EachKindAsksItsSourcesInOrder) {
  fake_platform fake;
  fake.folders.get = fake_place;
  const struct {
    const char* kind;
    const char* all;       // every source answers
    const char* fallback;  // only the system, temporary and Windows folders do
  } rows[] = {
      {"curr", "X:\\current", "(null)"},
      {"proc", "X:\\bin", "(null)"},
      {"user", "X:\\profiles", "S:\\Users"},
      {"pr32", "X:\\pf32", "X:\\windows"},
      {"pr64", "X:\\pf64", "X:\\windows"},
      {"prog", "X:\\pf", "X:\\windows"},
      {"comn", "X:\\common", "X:\\windows"},
      {"pref", "X:\\local", "X:\\windows"},
      {"cach", "X:\\local", "X:\\windows"},
      {"lsup", "X:\\local", "X:\\windows"},
      {"rsup", "X:\\roaming", "X:\\windows"},
      {"sprf", "X:\\shared", "X:\\windows"},
      {"asup", "X:\\shared", "X:\\windows"},
      {"slog", "X:\\shared", "X:\\temp"},
      {"sdrv", "S:", "S:"},
      {"swin", "X:\\sharedwin", "X:\\windows"},
      {"extn", "S:\\win\\system", "S:\\win\\system"},
      {"temp", "X:\\temp", "X:\\temp"},
      {"logs", "X:\\temp", "X:\\temp"},
      {"zzzz", "X:\\windows", "X:\\windows"},
  };
  for (const auto& row : rows) {
    answering = UINT32_MAX;
    EXPECT_EQ(known(row.kind), row.all) << row.kind;
    answering = 1u << XP_FOLDER_SYSTEM | 1u << XP_FOLDER_TEMP | 1u << XP_FOLDER_WINDOWS;
    EXPECT_EQ(known(row.kind), row.fallback) << row.kind;
    answering = 0;
    EXPECT_EQ(known(row.kind), "(null)") << row.kind;
  }
  answering = 1u << XP_FOLDER_SHELL_PROGRAM_FILES | 1u << XP_FOLDER_SHELL_PROGRAM_FILES_32;
  EXPECT_EQ(known("comn"), "X:\\pf\\Common Files");
  EXPECT_EQ(known("pr32"), "X:\\pf-32");
  EXPECT_EQ(known("pr64"), "X:\\pf");
  answering = UINT32_MAX;
  const xp_ref user(xp_path_known_child(xp_tag("user"), "a", "b"));
  EXPECT_EQ(text_of(user), "X:\\profiles\\a\\b");
}
