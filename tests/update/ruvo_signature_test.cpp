#include "update/ruvo_signature.h"

#include "tests/support/fake_machine.h"

TEST(Signature, OnlyAKnownPublisherPasses) {
  struct {
    std::vector<std::u16string> signers;
    int32_t result;
  } const rows[] = {
      {{u"Velandrim Software Inc."}, 0},
      {{u"Velandrim Software, LLC"}, 0},
      {{u"velandrim software inc."}, -1},
      {{u"Velandrim Software Inc. "}, -1},
      {{u"Velandrim Software"}, -1},
      {{u"Another", u"Velandrim Software Inc."}, 0},
      {{u"", u"Velandrim Software Inc."}, 0},  // a name that can't be read moves on
      {{u""}, -1},
      {{}, -1},
      {{std::u16string(80, u'V')}, -1},
  };
  for (const auto& row : rows) {
    fake_machine machine;
    machine.signers = row.signers;
    EXPECT_EQ(ruvo_verify_signature(u"C:\\a.msi"), row.result);
    EXPECT_EQ(machine.course, (std::vector<std::string>{"verify", "trust closed"}));
  }
}

TEST(Signature, TheServicesAnswerIsTheResult) {
  fake_machine machine;
  machine.trust_code = static_cast<int32_t>(0x800B0100);
  EXPECT_EQ(ruvo_verify_signature(u"C:\\a.msi"), static_cast<int32_t>(0x800B0100));
  EXPECT_EQ(machine.course.back(), "trust closed");
  machine.trust_code = 0;
  machine.signers.clear();
  machine.trust_names = false;  // verified, and no publisher test is possible
  EXPECT_EQ(ruvo_verify_signature(u"C:\\a.msi"), 0);
  machine.trust_names = true;
  machine.trust_data = false;
  EXPECT_EQ(ruvo_verify_signature(u"C:\\a.msi"), -1);
  machine.trust_missing = true;
  EXPECT_EQ(ruvo_verify_signature(u"C:\\a.msi"), -1);
}
