// What an Authenticode signature stands in and what it covers: an installer package or a program
// file. Source: Microsoft's "Windows Authenticode Portable Executable Signature Format" for
// programs.
//
// A package keeps the signature in the stream "\005DigitalSignature". Its digest goes over the
// streams of each storage in the order of their names, then over the storage's class. With the
// stream "\005MsiDigitalSignatureEx" a digest over the directory's own records comes first, and
// that stream holds it.
#pragma once

#include <openssl/evp.h>

#include "platform/host/compound_file.h"
#include "platform/host/pe_file.h"

// Results of the trust service.
enum : int32_t {
  TRUST_OK = 0,
  TRUST_FILE_ERROR = static_cast<int32_t>(0x80092003),         // CRYPT_E_FILE_ERROR
  TRUST_NO_SIGNER_CERT = static_cast<int32_t>(0x80096002),     // TRUST_E_NO_SIGNER_CERT
  TRUST_CERT_SIGNATURE = static_cast<int32_t>(0x80096004),     // TRUST_E_CERT_SIGNATURE
  TRUST_BAD_DIGEST = static_cast<int32_t>(0x80096010),         // TRUST_E_BAD_DIGEST
  TRUST_BASIC_CONSTRAINTS = static_cast<int32_t>(0x80096019),  // TRUST_E_BASIC_CONSTRAINTS
  TRUST_SUBJECT_UNKNOWN = static_cast<int32_t>(0x800B0003),    // TRUST_E_SUBJECT_FORM_UNKNOWN
  TRUST_NO_SIGNATURE = static_cast<int32_t>(0x800B0100),       // TRUST_E_NOSIGNATURE
  TRUST_EXPIRED = static_cast<int32_t>(0x800B0101),            // CERT_E_EXPIRED
  TRUST_UNTRUSTED_ROOT = static_cast<int32_t>(0x800B0109),     // CERT_E_UNTRUSTEDROOT
  TRUST_CHAINING = static_cast<int32_t>(0x800B010A),           // CERT_E_CHAINING
  TRUST_WRONG_USAGE = static_cast<int32_t>(0x800B0110),        // CERT_E_WRONG_USAGE
  TRUST_OUT_OF_MEMORY = static_cast<int32_t>(0x8007000E),      // E_OUTOFMEMORY
};

struct authenticode_subject {
  const host_source* source = nullptr;
  bool is_package = false;
  host_buffer head;  // the first bytes of a program file, which its headers lie in
  pe_file program;
  compound_file package;
  host_buffer signature;  // the PKCS #7 message
  host_buffer extended;   // a package's digest of its directory
  bool has_extended = false;
};

// Finds the signature. TRUST_OK, TRUST_SUBJECT_UNKNOWN, TRUST_NO_SIGNATURE, TRUST_BAD_DIGEST for a
// package that contradicts itself, TRUST_FILE_ERROR when a read fails, or TRUST_OUT_OF_MEMORY. A
// program's headers are looked for in its first 64 KB. The source must outlive `out`.
int32_t authenticode_open(const host_source* source, authenticode_subject* out);
// Computes the digest of everything but the signature, reading each byte once. TRUST_OK,
// TRUST_BAD_DIGEST when the file contradicts itself, TRUST_FILE_ERROR, or TRUST_OUT_OF_MEMORY.
int32_t authenticode_digest(const authenticode_subject* subject, const EVP_MD* algorithm,
                            uint8_t out[EVP_MAX_MD_SIZE]);
