#include "platform/trust.h"

#include <openssl/pem.h>
#include <openssl/ts.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/host/authenticode_signature.h"
#include "tests/support/fakes.h"
#include "tests/support/host/packages.h"
#include "tests/support/host/test_machine.h"
#include "tests/support/host/test_program.h"

namespace {

std::string content(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::u16string wide(const std::string& text) {
  return {text.begin(), text.end()};
}

std::string hex(int32_t code) {
  char text[16];
  snprintf(text, sizeof text, "%08X", static_cast<uint32_t>(code));
  return text;
}

using roots_ref = std::unique_ptr<STACK_OF(X509), void (*)(STACK_OF(X509)*)>;

roots_ref load_roots() {
  STACK_OF(X509)* roots = sk_X509_new_null();
  BIO* file = BIO_new_file(authority_root().c_str(), "r");
  sk_X509_push(roots, PEM_read_bio_X509(file, nullptr, nullptr, nullptr));
  BIO_free(file);
  return {roots, [](STACK_OF(X509) * all) { sk_X509_pop_free(all, X509_free); }};
}

constexpr time_t MID_2020 = 1592222400;  // in the life of an expired certificate
constexpr time_t MID_2026 = 1781611200;

// A time stamping service of the authority.
struct stamp_service {
  explicit stamp_service(const char* usage = "critical,timeStamping") {
    BIO* file = BIO_new_file((package_folder() + "/authority/root.key").c_str(), "r");
    EVP_PKEY* root_key = PEM_read_bio_PrivateKey(file, nullptr, nullptr, nullptr);
    BIO_free(file);
    key = EVP_RSA_gen(2048);
    certificate = X509_new();
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 77);
    ASN1_TIME_set(X509_getm_notBefore(certificate), MID_2020 - 1000);
    ASN1_TIME_set(X509_getm_notAfter(certificate), MID_2020 + 1000);
    X509_set_pubkey(certificate, key);
    X509_set_issuer_name(certificate, X509_get_subject_name(sk_X509_value(load_roots().get(), 0)));
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                               reinterpret_cast<const uint8_t*>("Stamps"), -1, -1, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, NID_ext_key_usage, usage);
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
    X509_sign(certificate, root_key, EVP_sha256());
    EVP_PKEY_free(root_key);
  }
  ~stamp_service() {
    X509_free(certificate);
    EVP_PKEY_free(key);
  }
  EVP_PKEY* key;
  X509* certificate;
};

void add_unsigned_attribute(PKCS7_SIGNER_INFO* signer, const char* name, uint8_t* der, int size) {
  ASN1_STRING* value = ASN1_STRING_new();
  ASN1_STRING_set(value, der, size);
  OPENSSL_free(der);
  int nid = OBJ_txt2nid(name);
  if (nid == NID_undef) nid = OBJ_create(name, name, name);
  PKCS7_add_attribute(signer, nid, V_ASN1_SEQUENCE, value);
}

// A token of RFC 3161 over `imprinted`.
void add_token(PKCS7_SIGNER_INFO* signer, const stamp_service& service,
               const std::string& imprinted, time_t when) {
  uint8_t digest[32];
  EVP_Digest(imprinted.data(), imprinted.size(), digest, nullptr, EVP_sha256(), nullptr);
  TS_REQ* request = TS_REQ_new();
  TS_MSG_IMPRINT* imprint = TS_MSG_IMPRINT_new();
  X509_ALGOR* algorithm = X509_ALGOR_new();
  X509_ALGOR_set0(algorithm, OBJ_nid2obj(NID_sha256), V_ASN1_NULL, nullptr);
  TS_MSG_IMPRINT_set_algo(imprint, algorithm);
  TS_MSG_IMPRINT_set_msg(imprint, digest, sizeof digest);
  TS_REQ_set_version(request, 1);
  TS_REQ_set_msg_imprint(request, imprint);
  TS_REQ_set_cert_req(request, 1);
  BIO* wire = BIO_new(BIO_s_mem());
  i2d_TS_REQ_bio(wire, request);
  TS_RESP_CTX* context = TS_RESP_CTX_new();
  ASN1_OBJECT* policy = OBJ_txt2obj("1.2.3.4", 1);
  TS_RESP_CTX_set_signer_cert(context, service.certificate);
  TS_RESP_CTX_set_signer_key(context, service.key);
  TS_RESP_CTX_set_signer_digest(context, EVP_sha256());
  TS_RESP_CTX_set_def_policy(context, policy);
  TS_RESP_CTX_add_md(context, EVP_sha256());
  TS_RESP_CTX_set_time_cb(
      context,
      [](TS_RESP_CTX*, void* moment, long* seconds, long* micros) {
        *seconds = *static_cast<time_t*>(moment);
        *micros = 0;
        return 1;
      },
      &when);
  TS_RESP* response = TS_RESP_create_response(context, wire);
  uint8_t* der = nullptr;
  const int size = i2d_PKCS7(TS_RESP_get_token(response), &der);
  ASSERT_GT(size, 0);
  add_unsigned_attribute(signer, "1.3.6.1.4.1.311.3.3.1", der, size);
  TS_RESP_free(response);
  ASN1_OBJECT_free(policy);
  TS_RESP_CTX_free(context);
  BIO_free(wire);
  X509_ALGOR_free(algorithm);
  TS_MSG_IMPRINT_free(imprint);
  TS_REQ_free(request);
}

// A countersignature of PKCS #9 over `imprinted`.
void add_countersignature(PKCS7* message, PKCS7_SIGNER_INFO* signer, const stamp_service& service,
                          const std::string& imprinted, time_t when) {
  uint8_t digest[32];
  EVP_Digest(imprinted.data(), imprinted.size(), digest, nullptr, EVP_sha256(), nullptr);
  PKCS7_SIGNER_INFO* counter = PKCS7_SIGNER_INFO_new();
  PKCS7_SIGNER_INFO_set(counter, service.certificate, service.key, EVP_sha256());
  PKCS7_add_attrib_content_type(counter, nullptr);
  PKCS7_add0_attrib_signing_time(counter, ASN1_TIME_set(nullptr, when));
  PKCS7_add1_attrib_digest(counter, digest, sizeof digest);
  PKCS7_SIGNER_INFO_sign(counter);
  uint8_t* der = nullptr;
  const int size = i2d_PKCS7_SIGNER_INFO(counter, &der);
  ASSERT_GT(size, 0);
  add_unsigned_attribute(signer, "1.2.840.113549.1.9.6", der, size);
  PKCS7_add_certificate(message, service.certificate);
  PKCS7_SIGNER_INFO_free(counter);
}

// A computer that trusts the authority of the packages.
struct Trust : testing::Test {
  Trust() { machine.write("trust/root.pem", content(authority_root())); }

  std::string verify(const std::string& path) {
    xp_trust* trust = xp_platform->trust->load();
    const int32_t result = xp_platform->trust->verify(trust, wide(path).c_str());
    names.clear();
    char16_t name[64];
    for (uint32_t i = 0; xp_platform->trust->signer_name(trust, i, name, 64) > 0; i++)
      names.push_back(std::string(name, std::find(name, name + 63, u'\0')));
    xp_platform->trust->close(trust);
    xp_platform->trust->unload(trust);
    return hex(result);
  }

  test_machine machine;
  std::vector<std::string> names;
};

}  // namespace

TEST_F(Trust, EachFaultHasItsCode) {
  struct {
    const char* options;
    const char* expected;
  } rows[] = {
      {"", "00000000"},
      {"--sha1", "00000000"},
      {"--extended", "00000000"},
      {"--second-signer 'Velandrim Software, LLC'", "00000000"},
      {"--unsigned", "800B0100"},
      {"--tamper content", "80096010"},
      {"--extended --tamper content", "80096010"},
      {"--tamper certificate", "80096004"},
      {"--tamper signature", "80096004"},
      {"--expired", "800B0101"},
      {"--untrusted", "800B0109"},
      {"--self-signed", "800B0109"},
      {"--wrong-usage", "800B0110"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(verify(make_package(row.options)), row.expected) << row.options;
  machine.write("drive_c/a.msi", "text");
  machine.write("drive_c/b.msi", "");
  EXPECT_EQ(verify("C:\\a.msi"), "800B0003");
  EXPECT_EQ(verify("C:\\b.msi"), "800B0003");
  EXPECT_EQ(verify("C:\\c.msi"), "80092003");
  machine.write("trust/root.pem", "no certificate");
  EXPECT_EQ(verify(make_package("")), "800B010A");
}

TEST_F(Trust, EverySignerOfTheMessageIsNamed) {
  verify(make_package(""));
  EXPECT_EQ(names, std::vector<std::string>{"Velandrim Software Inc."});
  verify(make_package("--second-signer 'Velandrim Software, LLC'"));
  std::sort(names.begin(), names.end());  // a set: its encoding orders it
  EXPECT_EQ(names,
            (std::vector<std::string>{"Velandrim Software Inc.", "Velandrim Software, LLC"}));
  verify(make_package("--unsigned"));
  EXPECT_TRUE(names.empty());
  verify(make_package("--publisher '" + std::string(62, 'x') + "yz'"));
  EXPECT_EQ(names, std::vector<std::string>{std::string(62, 'x') + "y"}) << "cut to 64 units";
}

TEST_F(Trust, BothSignersMustBeTrusted) {
  // The second one comes first or last in the message, whatever his name is.
  for (const char* second : {"A", "Z"}) {
    const std::string options = std::string("--second-signer ") + second;
    const std::string bytes = content(make_package(options));
    const host_source source = host_source_of(bytes.data(), bytes.size());
    authenticode_subject subject;
    ASSERT_EQ(authenticode_open(&source, &subject), TRUST_OK);
    PKCS7* message = authenticode_message(&subject);
    const roots_ref roots = load_roots();
    EXPECT_EQ(authenticode_verify(&subject, message, roots.get(), MID_2026), TRUST_OK);
    // Without his certificate nobody can tell what he signed with.
    for (int i = 0; i < sk_X509_num(message->d.sign->cert); i++) {
      X509* certificate = sk_X509_value(message->d.sign->cert, i);
      char name[80] = "";
      X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, name, 80);
      if (strcmp(name, second) == 0) X509_free(sk_X509_delete(message->d.sign->cert, i--));
    }
    EXPECT_EQ(hex(authenticode_verify(&subject, message, roots.get(), MID_2026)), "80096002");
    PKCS7_free(message);
  }
}

TEST_F(Trust, AGoodTimeStampKeepsASignatureAlive) {
  enum { TOKEN, COUNTERSIGNATURE };
  const stamp_service service;
  const stamp_service web_server("serverAuth");
  struct {
    const stamp_service* service;
    time_t when;
    bool other_data;
    const char* expected;
    const char* why;
  } rows[] = {
      {&service, MID_2020, false, "00000000", "seen while the certificate was valid"},
      {&service, MID_2020 + 5000, false, "800B0101", "the service's own certificate had expired"},
      {&service, MID_2020, true, "800B0101", "a stamp of something else"},
      {&web_server, MID_2020, false, "800B0101", "no service of time stamps"},
  };
  const std::string bytes = content(make_package("--expired"));
  const roots_ref roots = load_roots();
  for (const int kind : {TOKEN, COUNTERSIGNATURE}) {
    for (const auto& row : rows) {
      if (kind == TOKEN && row.service == &web_server) continue;  // OpenSSL won't make one
      const host_source source = host_source_of(bytes.data(), bytes.size());
      authenticode_subject subject;
      ASSERT_EQ(authenticode_open(&source, &subject), TRUST_OK);
      PKCS7* message = authenticode_message(&subject);
      PKCS7_SIGNER_INFO* signer = sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(message), 0);
      const std::string signature =
          row.other_data
              ? "other"
              : std::string(
                    reinterpret_cast<const char*>(ASN1_STRING_get0_data(signer->enc_digest)),
                    static_cast<size_t>(ASN1_STRING_length(signer->enc_digest)));
      if (kind == TOKEN)
        add_token(signer, *row.service, signature, row.when);
      else
        add_countersignature(message, signer, *row.service, signature, row.when);
      EXPECT_EQ(hex(authenticode_verify(&subject, message, roots.get(), MID_2026)), row.expected)
          << row.why << (kind == TOKEN ? " (token)" : " (countersignature)");
      PKCS7_free(message);
    }
  }
}

TEST_F(Trust, ASignedProgramIsCheckedToItsLastByte) {
  machine.write("program.exe", test_program(8, 1));
  const std::string path = make_package("--program " + machine.path + "/program.exe");
  EXPECT_EQ(verify(path), "00000000");
  EXPECT_EQ(names, std::vector<std::string>{"Velandrim Software Inc."});
  const std::string bytes = content(path);
  const struct {
    size_t offset;
    const char* expected;
    const char* why;
  } rows[] = {
      {0x2F0, "80096010", "contents"},
      {0x40 + 24 + 64, "00000000", "the checksum isn't covered"},
      {bytes.size(), "80096010", "appended"},
  };
  for (const auto& row : rows) {
    std::string changed = bytes;
    changed.resize(std::max(changed.size(), row.offset + 1));
    changed[row.offset] = static_cast<char>(changed[row.offset] ^ 1);
    machine.write("drive_c/changed.exe", changed);
    EXPECT_EQ(verify("C:\\changed.exe"), row.expected) << row.why;
  }
  machine.write("drive_c/plain.exe", test_program(8, 1));
  EXPECT_EQ(verify("C:\\plain.exe"), "800B0100");
}

TEST_F(Trust, CutAndChangedFilesAreNeverMoreThanRefused) {
  const roots_ref roots = load_roots();
  machine.write("program.exe", test_program(8, 1));
  for (const std::string& path :
       {make_package("--extended"), make_package("--program " + machine.path + "/program.exe")}) {
    const std::string whole = content(path);
    for (size_t i = 0; i < whole.size(); i += i < 4096 ? 7 : 29) {
      for (const bool cut : {true, false}) {
        std::vector<char> bytes(whole.begin(), whole.end());
        if (cut) bytes.resize(i);
        if (!cut) bytes[i] = static_cast<char>(bytes[i] ^ 0xFF);
        const host_source source = host_source_of(bytes.data(), bytes.size());
        authenticode_subject subject;
        if (authenticode_open(&source, &subject) != TRUST_OK) continue;
        PKCS7* message = authenticode_message(&subject);
        if (!message) continue;
        const int32_t result = authenticode_verify(&subject, message, roots.get(), MID_2026);
        if (cut && i < whole.size() / 2) {
          EXPECT_NE(result, TRUST_OK) << i;
        }
        PKCS7_free(message);
      }
    }
  }
}

TEST_F(Trust, OutOfMemoryIsNeverTrust) {
  const std::u16string path = wide(make_package("--extended"));
  sweep_allocations([&](heap_watch& watch) {
    xp_trust* trust = xp_platform->trust->load();
    if (!trust) {
      EXPECT_TRUE(watch.failed());
      return;
    }
    const int32_t result = xp_platform->trust->verify(trust, path.c_str());
    EXPECT_EQ(result != TRUST_OK, watch.failed());
    char16_t name[64];
    const bool named = xp_platform->trust->signer_name(trust, 0, name, 64) > 0;
    EXPECT_EQ(result == TRUST_OK && !named, result == TRUST_OK && watch.failed());
    xp_platform->trust->close(trust);
    xp_platform->trust->unload(trust);
  });
}
