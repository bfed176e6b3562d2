// The trust service. WINTRUST and CRYPT32 are loaded for one verification and freed again.
#include "platform/windows/backend.h"

// Order matters: these need windows.h.
#include <softpub.h>
#include <wincrypt.h>
#include <wintrust.h>

namespace {

// The request as the service of Windows 8 and later has it: one field longer than the header's.
struct trust_request : WINTRUST_DATA {
  void* pSignatureSettings;
};
static_assert(sizeof(trust_request) == 88 && sizeof(WINTRUST_FILE_INFO) == 32);

using verify_function = LONG(WINAPI*)(HWND, GUID*, void*);
using provider_data_function = CRYPT_PROVIDER_DATA*(WINAPI*)(HANDLE);
using signer_function = CRYPT_PROVIDER_SGNR*(WINAPI*)(CRYPT_PROVIDER_DATA*, DWORD, BOOL, DWORD);
using name_function = DWORD(WINAPI*)(PCCERT_CONTEXT, DWORD, DWORD, void*, LPWSTR, DWORD);

GUID generic_verify = {
    0x00AAC56B, 0xCD44, 0x11D0, {0x8C, 0xC2, 0x00, 0xC0, 0x4F, 0xC2, 0x95, 0xEE}};

}  // namespace

struct xp_trust {
  HMODULE service;
  HMODULE certificates;  // may be missing: then no name can be read, and no publisher matches
  verify_function verify;
  provider_data_function provider_data;
  signer_function signer;
  name_function name;
  WINTRUST_FILE_INFO file;
  trust_request request;
};

namespace {

LONG call_service(xp_trust* trust, DWORD action) {
  trust->request.dwStateAction = action;
  return trust->verify(static_cast<HWND>(INVALID_HANDLE_VALUE), &generic_verify, &trust->request);
}

void trust_unload(xp_trust* trust) {
  if (!trust) return;
  if (trust->certificates) FreeLibrary(trust->certificates);
  if (trust->service) FreeLibrary(trust->service);
  xp_heap_free(trust);
}

xp_trust* trust_load() {
  auto* trust = static_cast<xp_trust*>(xp_heap_alloc(sizeof(xp_trust)));
  if (!trust) return nullptr;
  trust->service = windows_load(L"WINTRUST");
  trust->verify = windows_find<verify_function>(trust->service, "WinVerifyTrust");
  if (!trust->verify) {
    trust_unload(trust);
    return nullptr;
  }
  trust->provider_data =
      windows_find<provider_data_function>(trust->service, "WTHelperProvDataFromStateData");
  trust->signer = windows_find<signer_function>(trust->service, "WTHelperGetProvSignerFromChain");
  trust->certificates = windows_load(L"CRYPT32");
  trust->name = windows_find<name_function>(trust->certificates, "CertGetNameStringW");
  return trust;
}

int32_t trust_verify(xp_trust* trust, const char16_t* path) {
  trust->file = {};
  trust->file.cbStruct = sizeof trust->file;
  trust->file.pcwszFilePath = windows_wide(path);
  trust->request = {};
  trust->request.cbStruct = sizeof trust->request;
  trust->request.dwUIChoice = WTD_UI_NONE;
  trust->request.fdwRevocationChecks = WTD_REVOKE_NONE;
  trust->request.dwUnionChoice = WTD_CHOICE_FILE;
  trust->request.pFile = &trust->file;
  trust->request.dwProvFlags = WTD_SAFER_FLAG;
  return call_service(trust, WTD_STATEACTION_VERIFY);
}

// Only the two helpers count: without CRYPT32 names can't be read, which must not pass for a
// service that knows no signers.
bool trust_can_name_signers(xp_trust* trust) {
  return trust->provider_data && trust->signer;
}

CRYPT_PROVIDER_DATA* data_of(xp_trust* trust) {
  return trust_can_name_signers(trust) ? trust->provider_data(trust->request.hWVTStateData)
                                       : nullptr;
}

bool trust_has_signers(xp_trust* trust) {
  return data_of(trust) != nullptr;
}

int32_t trust_signer_name(xp_trust* trust, uint32_t index, char16_t* out, uint32_t size) {
  CRYPT_PROVIDER_DATA* data = data_of(trust);
  const CRYPT_PROVIDER_SGNR* signer = data ? trust->signer(data, index, FALSE, 0) : nullptr;
  if (!signer) return -1;
  if (!trust->name || !signer->csCertChain || !signer->pasCertChain) return 0;
  const DWORD units = trust->name(signer->pasCertChain[0].pCert, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0,
                                  nullptr, windows_wide(out), size);
  return units > 1 ? static_cast<int32_t>(units) : 0;  // 1 is the NUL alone: there is no name
}

void trust_close(xp_trust* trust) {
  (void)call_service(trust, WTD_STATEACTION_CLOSE);  // nothing follows from its result
}

}  // namespace

constinit const xp_trust_ops windows_trust = {.load = trust_load,
                                              .verify = trust_verify,
                                              .can_name_signers = trust_can_name_signers,
                                              .has_signers = trust_has_signers,
                                              .signer_name = trust_signer_name,
                                              .close = trust_close,
                                              .unload = trust_unload};
