#include "update/ruvo_acquire.h"

#include <string>

#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "tests/support/fakes.h"
#include "tests/support/temp_folder.h"

namespace {

std::string name_of(const char* url) {
  xp_ref text(xp_str_new(url));
  xp_ref name(ruvo_name_from_url(text.get()));
  return name ? name->text : "(null)";
}

// The name of the payload that the extraction gives, seen from the folder.
std::string payload_name(temp_folder& folder, const char* file, const char* name) {
  xp_ref path(folder.at(file));
  xp_ref given(name ? xp_str_new(name) : nullptr);
  xp_ref payload(ruvo_extract_installer(path.get(), given.get()));
  if (!payload) return "(null)";
  xp_ref text(xp_str_from_object(payload.get()));
  xp_ref base(xp_str_from_object(folder.path.get()));
  EXPECT_TRUE(std::string(text->text).starts_with(base->text));
  return std::string(text->text).substr(static_cast<size_t>(base->length) + 1);
}

std::string little(uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; i++)
    bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}

// A container of a name field and the package "PACKAGE".
std::string container(const std::string& name, uint32_t count) {
  const auto length = static_cast<uint32_t>(name.size());
  return "x" + name + "PACKAGE" + little(1) + little(length) + little(1) + little(1) +
         little(1 + length) + little(7) + little(count) + "rvTP";
}

int32_t matches(temp_folder& folder, const char* file, const std::string& digest) {
  xp_ref path(folder.at(file));
  xp_ref text(xp_str_new(digest.c_str()));
  return ruvo_digest_matches(path.get(), text.get());
}

// SHA-256 of "abc", FIPS 180-4.
const std::string ABC = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

}  // namespace

TEST(Acquire, TheNameIsTheLastSegmentOfTheUrlsPath) {
  EXPECT_EQ(name_of("http://host/a/b.msi?x=1"), "b.msi");
  EXPECT_EQ(name_of("http://host/b.msi"), "b.msi");
  EXPECT_EQ(name_of("http://host/a/"), "(null)");
  EXPECT_EQ(name_of("http://host/a/.hidden"), "(null)");
  EXPECT_EQ(name_of("http://host"), "(null)");
  EXPECT_EQ(name_of(""), "(null)");
}

TEST(Acquire, ADigestIsReadInEitherCaseAndToItsLength) {
  temp_folder folder;
  folder.write("abc", "abc");
  std::string upper = ABC;
  for (char& c : upper)
    c = static_cast<char>(toupper(c));
  EXPECT_EQ(matches(folder, "abc", ABC), 0);
  EXPECT_EQ(matches(folder, "abc", upper), 0);
  EXPECT_EQ(matches(folder, "abc", ABC + "zz"), 0);
  EXPECT_NE(matches(folder, "abc", ABC.substr(0, 62)), 0);
  EXPECT_NE(matches(folder, "abc", ABC.substr(0, 63)), 0);  // its last half byte counts as 0
  EXPECT_NE(matches(folder, "abc", ""), 0);
  EXPECT_NE(matches(folder, "absent", ABC), 0);
  EXPECT_NE(matches(folder, "abc", std::string(64, '0')), 0);
}

TEST(Acquire, A63DigitDigestMatchesWhereTheLastDigitIsZero) {
  temp_folder folder;
  folder.write("zero", "");  // the digest of nothing ends in ...b855
  const std::string nothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
  EXPECT_EQ(matches(folder, "zero", nothing), 0);
  EXPECT_NE(matches(folder, "zero", nothing.substr(0, 63)), 0);
}

TEST(Acquire, TheDigestNeedsNoMemory) {
  temp_folder folder;
  folder.write("abc", "abc");
  xp_ref path(folder.at("abc"));
  xp_ref digest(xp_str_new(ABC.c_str()));
  sweep_allocations([&](heap_watch& watch) {
    const int32_t result = ruvo_digest_matches(path.get(), digest.get());
    EXPECT_TRUE(watch.failed() || result == 0);
  });
}

TEST(Acquire, APlainPackageIsBroughtUnderANameThatEndsInMsi) {
  struct {
    const char* file;
    const char* name;
    const char* payload;
  } const rows[] = {
      {"setup.msi", nullptr, "setup.msi"},
      {"setup.MSI", nullptr, "setup.MSI"},
      {"setup.tmp", nullptr, "setup.tmp.msi"},
      {"setup", nullptr, "setup.msi"},
      {"a.b", "setup", "setup.msi"},
      {"a.b", "setup.msi", "setup.msi"},
      {"a.b", ".msi", ".msi.msi"},  // an ending needs a name before it
      {"a.b", "", "a.b.msi"},
  };
  for (const auto& row : rows) {
    temp_folder folder;
    folder.write(row.file, "plain package");
    EXPECT_EQ(payload_name(folder, row.file, row.name), row.payload) << row.file;
    EXPECT_EQ(content_of(folder.at(row.payload).get()), "plain package");
    EXPECT_EQ(content_of(folder.at(row.file).get()), "plain package");
  }
}

TEST(Acquire, ALongNameIsCutAtACharacter) {
  temp_folder folder;
  folder.write("a", "package");
  const std::string stem(58, 'n');
  EXPECT_EQ(payload_name(folder, "a", (stem + "\xC3\xA9z").c_str()), stem + ".msi");
}

TEST(Acquire, AContainersOwnNameWins) {
  struct {
    std::string stored;
    uint32_t count;
    const char* payload;
  } const rows[] = {
      {std::string("client.msi\0junk", 15), 3, "client.msi"},
      {"client", 4, "client.msi"},
      {"client.msi", 2, "given.msi"},                // a count of 2 stores no name
      {std::string("\0client", 7), 3, "given.msi"},  // an empty one is passed over
      {std::string(70, 'n'), 3, nullptr},            // 60 bytes of it are used
      {"client.msi", 1, "(null)"},                   // no package in it
  };
  for (const auto& row : rows) {
    temp_folder folder;
    folder.write("box.exe", container(row.stored, row.count));
    const std::string expected = row.payload ? row.payload : std::string(60, 'n') + ".msi";
    EXPECT_EQ(payload_name(folder, "box.exe", "given"), expected);
    if (expected == "(null)") continue;
    EXPECT_EQ(content_of(folder.at(expected.c_str()).get()), "PACKAGE");
  }
}

TEST(Acquire, WhatIsNotThereGivesNothing) {
  temp_folder folder;
  EXPECT_EQ(payload_name(folder, "absent.exe", nullptr), "(null)");
  EXPECT_EQ(payload_name(folder, "absent.exe", "name"), "(null)");
  folder.write("empty.msi", "");
  EXPECT_EQ(payload_name(folder, "empty.msi", nullptr), "(null)");
}

TEST(Acquire, EveryAllocationMayFail) {
  temp_folder folder;
  folder.write("box.exe", container("client.msi", 3));
  xp_ref path(folder.at("box.exe"));
  xp_ref name(xp_str_new("given"));
  sweep_allocations([&](heap_watch& watch) {
    xp_ref payload(ruvo_extract_installer(path.get(), name.get()));
    EXPECT_TRUE(watch.failed() || payload);
  });
}
