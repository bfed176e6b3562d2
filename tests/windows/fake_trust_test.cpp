// The trust table over a scripted service: what it is asked, and what its answers become. The
// service is loaded first under the real one's name, so that the table finds it.
#include <gtest/gtest.h>

#include "tests/windows/windows_support.h"

namespace {

struct any_scripted_trust : testing::Test {
  HMODULE service = nullptr;
  xp_trust* trust = nullptr;
  const xp_trust_ops& ops = *xp_platform->trust;
  int (*open_verifications)() = nullptr;

  // The service under the real one's name, with as many of its functions as `folder` says.
  void load_service(const char16_t* folder) {
    const std::u16string beside = test_program().substr(0, test_program().rfind(u'\\') + 1);
    service = LoadLibraryW(w(beside + u"fakes\\" + folder + u"\\wintrust.dll"));
    ASSERT_NE(service, nullptr) << GetLastError();
    open_verifications = reinterpret_cast<int (*)()>(
        reinterpret_cast<void*>(GetProcAddress(service, "fake_open_verifications")));
    ASSERT_NE(open_verifications, nullptr) << "the real service was loaded instead";
  }
  void TearDown() override {
    if (trust) ops.unload(trust);
    if (open_verifications) {
      EXPECT_EQ(open_verifications(), 0) << "every verification is closed";
    }
    if (service) FreeLibrary(service);
  }
};

struct scripted_trust : any_scripted_trust {
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(load_service(u"2"));
    trust = ops.load();
    ASSERT_NE(trust, nullptr);
  }
};

TEST_F(any_scripted_trust, AServiceThatCannotVerifyIsNone) {
  load_service(u"0");
  EXPECT_EQ(ops.load(), nullptr);
}

TEST_F(any_scripted_trust, AServiceWithoutHelpersVerifiesAndNamesNobody) {
  load_service(u"1");
  trust = ops.load();
  ASSERT_NE(trust, nullptr);
  EXPECT_EQ(ops.verify(trust, u"C:\\signers-1.msi"), 0);
  EXPECT_FALSE(ops.can_name_signers(trust));
  EXPECT_FALSE(ops.has_signers(trust));
  ops.close(trust);
}

TEST_F(scripted_trust, AsksForTheFileAloneWithoutWindowAndRevocation) {
  // The service answers with the number of a wrong field; this is its answer to a right request.
  EXPECT_EQ(ops.verify(trust, u"C:\\unsigned.msi"), static_cast<int32_t>(0x800B0100));
  EXPECT_EQ(open_verifications(), 1);
  ops.close(trust);
}

TEST_F(scripted_trust, ABadDigestIsHandedOnAndClosed) {
  EXPECT_EQ(ops.verify(trust, u"C:\\tampered.msi"), static_cast<int32_t>(0x80096010));
  ops.close(trust);
}

TEST_F(scripted_trust, AVerifiedFileMayHaveNoSignerData) {
  EXPECT_EQ(ops.verify(trust, u"C:\\bare.msi"), 0);
  EXPECT_FALSE(ops.has_signers(trust));
  char16_t name[64];
  EXPECT_EQ(ops.signer_name(trust, 0, name, 64), -1);
  ops.close(trust);
}

TEST_F(scripted_trust, SignersAreCountedAlsoWithoutACertificate) {
  EXPECT_EQ(ops.verify(trust, u"C:\\signers-2.msi"), 0);
  EXPECT_TRUE(ops.can_name_signers(trust));
  EXPECT_TRUE(ops.has_signers(trust));
  char16_t name[64];
  EXPECT_EQ(ops.signer_name(trust, 0, name, 64), 0) << "a signer whose name can't be read";
  EXPECT_EQ(ops.signer_name(trust, 1, name, 64), 0);
  EXPECT_EQ(ops.signer_name(trust, 2, name, 64), -1) << "no further signer";
  ops.close(trust);
}

std::string der(char tag, const std::string& content) {
  const size_t length = content.size();
  std::string out(1, tag);
  if (length >= 128) {
    out += static_cast<char>(0x82);
    out += static_cast<char>(length >> 8);
  }
  out += static_cast<char>(length);
  return out + content;
}

// A certificate for the common name `subject`: well-formed, and good for nothing but its name.
std::string certificate(const std::string& subject) {
  const std::string null("\x05\x00", 2);
  const std::string rsa = der(0x30, der(0x06, "\x2A\x86\x48\x86\xF7\x0D\x01\x01\x01") + null);
  const std::string name =
      der(0x30, der(0x31, der(0x30, der(0x06, "\x55\x04\x03") + der(0x0C, subject))));
  const std::string validity = der(0x30, der(0x17, "200101000000Z") + der(0x17, "300101000000Z"));
  const std::string key = der(0x30, der(0x02, "\x11") + der(0x02, "\x03"));
  const std::string body = der('\xA0', der(0x02, "\x02")) + der(0x02, "\x01") + rsa + name +
                           validity + name + der(0x30, rsa + der(0x03, std::string(1, '\0') + key));
  return der(0x30, der(0x30, body) + rsa + der(0x03, std::string(1, '\0') + "x"));
}

TEST_F(scripted_trust, TheLeafOfEachSignerIsNamed) {
  const scratch_folder scratch;
  (void)scratch.file(u"signer-0.der", certificate("Someone Else, Ltd"));
  (void)scratch.file(u"signer-1.der", certificate("Velandrim Software Inc."));
  (void)scratch.file(u"signer-2.der", certificate("Größe €"));
  (void)scratch.file(u"signer-3.der", certificate(std::string(64, 'n')));
  ASSERT_EQ(ops.verify(trust, scratch.child(u"signers-4.msi").c_str()), 0);
  struct {
    uint32_t index;
    std::u16string name;
    const char* why;
  } const rows[] = {
      {0, u"Someone Else, Ltd", ""},
      {1, u"Velandrim Software Inc.", "the second signer is seen, too"},
      {2, u"Größe €", "names are UTF-16"},
      {3, std::u16string(63, u'n'), "a longer name is cut"},
  };
  for (const auto& row : rows) {
    char16_t name[64];
    EXPECT_EQ(ops.signer_name(trust, row.index, name, 64),
              static_cast<int32_t>(row.name.size() + 1))
        << row.why;
    EXPECT_EQ(utf8(name), utf8(row.name)) << row.why;
  }
  ops.close(trust);
}

}  // namespace
