// A trust service that a test can script. It stands in for WINTRUST.dll, checks that it is asked
// exactly as agreed, and answers by the name of the file:
//
//   ...tampered...     0x80096010, a bad digest, which the real service of Wine never gives for
//                      a package
//   ...signers-N...    0, with N signers; signer I has the certificate in signer-I.der beside the
//                      file, or no certificate at all when there is no such file
//   ...bare...         0, and no data about signers
//   anything else      0x800B0100, no signature
//
// A request that differs from what was agreed gets 0xBAD00000 and the number of the first wrong
// field. What close finds is told by fake_open_verifications.
//
// FAKE_EXPORTS 2: all that is asked for; 1: without the two helpers that name signers, as on
// systems older than those; 0: nothing at all.
#include <windows.h>

// Order matters: these need windows.h.
#include <softpub.h>
#include <stdio.h>
#include <wchar.h>
#include <wincrypt.h>
#include <wintrust.h>

static const GUID GENERIC_VERIFY = {
    0x00AAC56B, 0xCD44, 0x11D0, {0x8C, 0xC2, 0x00, 0xC0, 0x4F, 0xC2, 0x95, 0xEE}};

static CRYPT_PROVIDER_DATA provider;
static CRYPT_PROVIDER_SGNR signers[4];
static CRYPT_PROVIDER_CERT chains[4];
static DWORD signer_count;
static int open_verifications;

static PCCERT_CONTEXT certificate_beside(const wchar_t* path, DWORD index) {
  wchar_t name[600];
  const wchar_t* leaf = wcsrchr(path, L'\\');
  swprintf(name, 600, L"%.*lssigner-%lu.der", static_cast<int>(leaf + 1 - path), path, index);
  FILE* file = _wfopen(name, L"rb");
  if (!file) return nullptr;
  BYTE bytes[4096];
  const size_t length = fread(bytes, 1, sizeof bytes, file);
  fclose(file);
  return CertCreateCertificateContext(X509_ASN_ENCODING, bytes, static_cast<DWORD>(length));
}

// 0 when the request is the agreed one, otherwise the number of the first wrong field.
static int wrong_field(HWND window, GUID* action, const WINTRUST_DATA* data) {
  const auto* bytes = reinterpret_cast<const BYTE*>(data);
  if (window != static_cast<HWND>(INVALID_HANDLE_VALUE)) return 1;
  if (memcmp(action, &GENERIC_VERIFY, sizeof GENERIC_VERIFY) != 0) return 2;
  if (data->cbStruct != 88) return 3;
  if (data->pPolicyCallbackData || data->pSIPClientData) return 4;
  if (data->dwUIChoice != 2 || data->fdwRevocationChecks != 0 || data->dwUnionChoice != 1) return 5;
  if (data->dwProvFlags != 0x100 || data->dwUIContext != 0 || data->pwszURLReference) return 6;
  for (int i = 80; i < 88; i++)
    if (bytes[i]) return 7;
  const WINTRUST_FILE_INFO* file = data->pFile;
  if (!file || file->cbStruct != 32 || file->hFile || file->pgKnownSubject) return 8;
  return 0;
}

#if FAKE_EXPORTS >= 1
#define EXPORT_SERVICE __declspec(dllexport)
#else
#define EXPORT_SERVICE
#endif
#if FAKE_EXPORTS >= 2
#define EXPORT_HELPERS __declspec(dllexport)
#else
#define EXPORT_HELPERS
#endif

extern "C" EXPORT_SERVICE LONG WINAPI WinVerifyTrust(HWND window, GUID* action, void* request) {
  auto* data = static_cast<WINTRUST_DATA*>(request);
  if (const int wrong = wrong_field(window, action, data))
    return static_cast<LONG>(0xBAD00000 + static_cast<DWORD>(wrong));
  if (data->dwStateAction == WTD_STATEACTION_CLOSE) {
    open_verifications--;
    for (DWORD i = 0; i < signer_count; i++)
      if (chains[i].pCert) CertFreeCertificateContext(chains[i].pCert);
    signer_count = 0;
    data->hWVTStateData = nullptr;
    return 0;
  }
  open_verifications++;
  const wchar_t* path = data->pFile->pcwszFilePath;
  signer_count = 0;
  if (wcsstr(path, L"tampered")) return static_cast<LONG>(0x80096010);
  if (wcsstr(path, L"bare")) return 0;
  const wchar_t* count = wcsstr(path, L"signers-");
  if (!count) return static_cast<LONG>(0x800B0100);
  signer_count = static_cast<DWORD>(count[8] - L'0');
  for (DWORD i = 0; i < signer_count; i++) {
    chains[i].pCert = certificate_beside(path, i);
    signers[i].csCertChain = chains[i].pCert ? 1 : 0;
    signers[i].pasCertChain = &chains[i];
  }
  data->hWVTStateData = &provider;
  return 0;
}

extern "C" EXPORT_HELPERS CRYPT_PROVIDER_DATA* WINAPI WTHelperProvDataFromStateData(HANDLE state) {
  return static_cast<CRYPT_PROVIDER_DATA*>(state);
}

extern "C" EXPORT_HELPERS CRYPT_PROVIDER_SGNR* WINAPI
WTHelperGetProvSignerFromChain(CRYPT_PROVIDER_DATA* data, DWORD index, BOOL counter, DWORD) {
  return data == &provider && index < signer_count && !counter ? &signers[index] : nullptr;
}

extern "C" __declspec(dllexport) int fake_open_verifications() {
  return open_verifications;
}
