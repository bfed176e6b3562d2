// TLS by the security service of the system, through the table that its library hands out.
#include "platform/windows/certificates.h"

// Order matters: these need windows.h.
#define SECURITY_WIN32
#include <schannel.h>
#include <security.h>
#include <wincrypt.h>

namespace {

static_assert(XP_TLS_SKIP_NAME == SCH_CRED_NO_SERVERNAME_CHECK &&
              XP_TLS_SKIP_CHAIN == SCH_CRED_MANUAL_CRED_VALIDATION);
static_assert(sizeof(xp_tls_handle) == sizeof(SecHandle));

// Replay and sequence detection, confidentiality, allocated output, stream, integrity.
constexpr ULONG REQUIREMENTS = 0x1811C;

const SecurityFunctionTableA* table_of(const xp_tls_service* service) {
  return static_cast<const SecurityFunctionTableA*>(service->table);
}

SecHandle* native(xp_tls_handle* handle) {
  return reinterpret_cast<SecHandle*>(handle);
}

// One array of buffers, as every call of the service takes them.
struct buffers {
  template <size_t count>
  explicit buffers(SecBuffer (&array)[count])
      : description{.ulVersion = SECBUFFER_VERSION, .cBuffers = count, .pBuffers = array} {}

  SecBufferDesc description;
};

xp_tls_status status_of(SECURITY_STATUS status) {
  switch (status) {
    case SEC_E_OK:
      return XP_TLS_OK;
    case SEC_I_CONTINUE_NEEDED:
      return XP_TLS_CONTINUE;
    case SEC_I_INCOMPLETE_CREDENTIALS:
      return XP_TLS_INCOMPLETE_CREDENTIALS;
    case SEC_I_CONTEXT_EXPIRED:
      return XP_TLS_EXPIRED;
    case SEC_I_RENEGOTIATE:
      return XP_TLS_RENEGOTIATE;
    case SEC_E_INCOMPLETE_MESSAGE:
      return XP_TLS_INCOMPLETE;
  }
  return status >= 0 ? XP_TLS_OTHER : XP_TLS_REFUSED;
}

bool tls_load(xp_tls_service* service) {
  *service = {};
  const HMODULE library = windows_load(L"secur32.dll");
  const auto get_table = windows_find<INIT_SECURITY_INTERFACE_A>(library, "InitSecurityInterfaceA");
  const SecurityFunctionTableA* table = get_table ? get_table() : nullptr;
  if (table) {
    *service = {.library = library, .table = table};
    return true;
  }
  if (library) FreeLibrary(library);
  return false;
}

void tls_unload(xp_tls_service* service) {
  if (service->library) FreeLibrary(static_cast<HMODULE>(service->library));
  *service = {};
}

bool tls_acquire(const xp_tls_service* service, const xp_tls_credentials_request* request,
                 xp_tls_handle* credentials) {
  auto* certificate = reinterpret_cast<const CERT_CONTEXT*>(request->certificate);
  SCHANNEL_CRED wanted = {};
  wanted.dwVersion = SCHANNEL_CRED_VERSION;
  wanted.cCreds = certificate ? 1 : 0;
  wanted.paCred = certificate ? &certificate : nullptr;
  wanted.grbitEnabledProtocols = request->protocols;
  wanted.dwFlags = request->leniency;
  char package[] = UNISP_NAME_A;
  TimeStamp expiry;
  return table_of(service)->AcquireCredentialsHandleA(
             nullptr, package, request->server ? SECPKG_CRED_INBOUND : SECPKG_CRED_OUTBOUND,
             nullptr, &wanted, nullptr, nullptr, native(credentials), &expiry) == SEC_E_OK;
}

void tls_free_credentials(const xp_tls_service* service, xp_tls_handle* credentials) {
  (void)table_of(service)->FreeCredentialsHandle(native(credentials));
  *credentials = {};
}

// One call of the context functions. `input` may be null, `started` says whether there is a context
// to go on with.
SECURITY_STATUS context_step(const xp_tls_service* service, xp_tls_handle* credentials,
                             xp_tls_handle* context, bool server, bool started, const char* target,
                             SecBufferDesc* input, SecBufferDesc* output, bool* extended_error) {
  const SecurityFunctionTableA* table = table_of(service);
  SecHandle* existing = started ? native(context) : nullptr;
  ULONG attributes = 0;
  TimeStamp expiry;
  if (server) {
    const SECURITY_STATUS status =
        table->AcceptSecurityContext(native(credentials), existing, input, REQUIREMENTS, 0,
                                     native(context), output, &attributes, &expiry);
    *extended_error = attributes & ASC_RET_EXTENDED_ERROR;
    return status;
  }
  const SECURITY_STATUS status = table->InitializeSecurityContextA(
      native(credentials), existing, const_cast<char*>(target), REQUIREMENTS, 0, 0, input, 0,
      native(context), output, &attributes, &expiry);
  *extended_error = attributes & ISC_RET_EXTENDED_ERROR;
  return status;
}

void free_buffer(const xp_tls_service* service, void* bytes) {
  if (bytes) (void)table_of(service)->FreeContextBuffer(bytes);
}

xp_tls_status tls_step(const xp_tls_service* service, xp_tls_handle* credentials,
                       xp_tls_handle* context, xp_tls_step* step) {
  SecBuffer in[2] = {{step->length, SECBUFFER_TOKEN, const_cast<uint8_t*>(step->bytes)},
                     {0, SECBUFFER_EMPTY, nullptr}};
  SecBuffer out[1] = {{0, SECBUFFER_TOKEN, nullptr}};
  buffers input(in);
  buffers output(out);
  bool extended_error = false;
  const xp_tls_status status = status_of(context_step(
      service, credentials, context, step->server, step->started, step->target,
      step->bytes ? &input.description : nullptr, &output.description, &extended_error));
  step->has_extra = in[1].BufferType == SECBUFFER_EXTRA;
  step->extra = step->has_extra ? in[1].cbBuffer : 0;
  const bool token = out[0].pvBuffer && out[0].cbBuffer > 0;
  step->explained = status < 0 && extended_error && token;
  step->token = {};
  if (token && (status >= 0 || step->explained))
    step->token = {.bytes = static_cast<uint8_t*>(out[0].pvBuffer), .length = out[0].cbBuffer};
  else
    free_buffer(service, out[0].pvBuffer);
  return status;
}

void tls_delete_context(const xp_tls_service* service, xp_tls_handle* context) {
  (void)table_of(service)->DeleteSecurityContext(native(context));
  *context = {};
}

void tls_free_token(const xp_tls_service* service, xp_tls_token* token) {
  free_buffer(service, token->bytes);
  *token = {};
}

bool tls_sizes(const xp_tls_service* service, xp_tls_handle* context, xp_tls_sizes* out) {
  SecPkgContext_StreamSizes sizes = {};
  if (table_of(service)->QueryContextAttributesA(native(context), SECPKG_ATTR_STREAM_SIZES,
                                                 &sizes) != SEC_E_OK)
    return false;
  *out = {.header = sizes.cbHeader, .trailer = sizes.cbTrailer, .maximum = sizes.cbMaximumMessage};
  return true;
}

xp_tls_status tls_seal(const xp_tls_service* service, xp_tls_handle* context, uint8_t* record,
                       uint32_t sizes[3]) {
  SecBuffer parts[4] = {
      {sizes[0], SECBUFFER_STREAM_HEADER, record},
      {sizes[1], SECBUFFER_DATA, record + sizes[0]},
      {sizes[2], SECBUFFER_STREAM_TRAILER, record + sizes[0] + sizes[1]},
      {0, SECBUFFER_EMPTY, nullptr},
  };
  buffers message(parts);
  const xp_tls_status status =
      status_of(table_of(service)->EncryptMessage(native(context), 0, &message.description, 0));
  for (int i = 0; i < 3; i++)
    sizes[i] = parts[i].cbBuffer;
  return status;
}

uint32_t piece_kind(ULONG type) {
  switch (type) {
    case SECBUFFER_EMPTY:
      return XP_TLS_PIECE_EMPTY;
    case SECBUFFER_DATA:
      return XP_TLS_PIECE_DATA;
    case SECBUFFER_EXTRA:
      return XP_TLS_PIECE_EXTRA;
  }
  return XP_TLS_PIECE_OTHER;
}

xp_tls_status tls_open(const xp_tls_service* service, xp_tls_handle* context, uint8_t* bytes,
                       uint32_t length, xp_tls_piece pieces[4]) {
  SecBuffer parts[4] = {{length, SECBUFFER_DATA, bytes},
                        {0, SECBUFFER_EMPTY, nullptr},
                        {0, SECBUFFER_EMPTY, nullptr},
                        {0, SECBUFFER_EMPTY, nullptr}};
  buffers message(parts);
  const xp_tls_status status = status_of(
      table_of(service)->DecryptMessage(native(context), &message.description, 0, nullptr));
  for (int i = 0; i < 4; i++)
    pieces[i] = {.bytes = static_cast<uint8_t*>(parts[i].pvBuffer),
                 .length = parts[i].pvBuffer ? parts[i].cbBuffer : 0,
                 .kind = piece_kind(parts[i].BufferType)};
  return status;
}

bool tls_closing_token(const xp_tls_service* service, xp_tls_handle* credentials,
                       xp_tls_handle* context, bool server, const char* target,
                       xp_tls_token* token) {
  DWORD shutdown = SCHANNEL_SHUTDOWN;
  SecBuffer control[1] = {{sizeof shutdown, SECBUFFER_TOKEN, &shutdown}};
  buffers request(control);
  (void)table_of(service)->ApplyControlToken(native(context), &request.description);
  SecBuffer out[1] = {{0, SECBUFFER_TOKEN, nullptr}};
  buffers output(out);
  bool extended_error = false;
  // What the step says is not looked at: either there is a token or there is none.
  (void)context_step(service, credentials, context, server, true, target, nullptr,
                     &output.description, &extended_error);
  if (!out[0].pvBuffer || out[0].cbBuffer == 0) {
    free_buffer(service, out[0].pvBuffer);
    return false;
  }
  *token = {.bytes = static_cast<uint8_t*>(out[0].pvBuffer), .length = out[0].cbBuffer};
  return true;
}

}  // namespace

constinit const xp_tls_ops windows_tls = {.load = tls_load,
                                          .unload = tls_unload,
                                          .open_store = windows_open_store,
                                          .close_store = windows_close_store,
                                          .can_import = windows_can_import,
                                          .is_pfx = windows_is_pfx,
                                          .import_pfx = windows_import_pfx,
                                          .find_certificate = windows_find_certificate,
                                          .free_certificate = windows_free_certificate,
                                          .acquire = tls_acquire,
                                          .free_credentials = tls_free_credentials,
                                          .step = tls_step,
                                          .delete_context = tls_delete_context,
                                          .free_token = tls_free_token,
                                          .sizes = tls_sizes,
                                          .seal = tls_seal,
                                          .open = tls_open,
                                          .closing_token = tls_closing_token};
