#include "tests/support/scripted_tls.h"

#include <string.h>

namespace {

scripted_tls* active;

// What the handles hold: the context's word counts the requests for a certificate.
char library_mark;

bool tls_load(xp_tls_service* service) {
  if (active->missing || scripted_call_fails("tls load")) return false;
  service->library = &library_mark;
  active->alive++;
  return true;
}

void tls_unload(xp_tls_service* service) {
  EXPECT_EQ(service->library, &library_mark);
  *service = {};
  active->alive--;
}

xp_tls_store* tls_open_store(uint32_t place, const char* name) {
  active->store = std::to_string(place) + " " + name;
  active->alive++;
  return reinterpret_cast<xp_tls_store*>(active);
}

void tls_close_store(xp_tls_store*) {
  active->alive--;
}

xp_tls_certificate* tls_find_certificate(xp_tls_store*, const char* subject) {
  active->subject = subject;
  if (!active->has_certificate) return nullptr;
  active->alive++;
  return reinterpret_cast<xp_tls_certificate*>(active);
}

void tls_free_certificate(xp_tls_certificate*) {
  active->alive--;
}

bool tls_acquire(const xp_tls_service*, const xp_tls_credentials_request* request,
                 xp_tls_handle* credentials) {
  active->request = *request;
  if (active->no_credentials || scripted_call_fails("tls acquire")) return false;
  credentials->lower = 1;
  active->alive++;
  return true;
}

void tls_free_credentials(const xp_tls_service*, xp_tls_handle* credentials) {
  EXPECT_EQ(credentials->lower, 1u);
  *credentials = {};
  active->alive--;
}

// Bytes of the record at the front, 0 when it isn't whole.
uint32_t record_size(const uint8_t* bytes, uint32_t length) {
  if (length < 2 || length < 2u + bytes[1]) return 0;
  return 2u + bytes[1];
}

void give_token(xp_tls_step* step, const char* text) {
  const size_t length = strlen(text);
  step->token.bytes = static_cast<uint8_t*>(malloc(length));
  memcpy(step->token.bytes, text, length);
  step->token.length = static_cast<uint32_t>(length);
  active->alive++;
}

xp_tls_status answer_record(char kind, xp_tls_handle* context, xp_tls_step* step) {
  switch (kind) {
    case 'h':
      give_token(step, "<more>");
      return XP_TLS_CONTINUE;
    case 'H':
      give_token(step, "<done>");
      return XP_TLS_OK;
    case 'i':
      if (context->upper++) return XP_TLS_CONTINUE;
      step->has_extra = false;
      return XP_TLS_INCOMPLETE_CREDENTIALS;
    case 'e':
      give_token(step, "<alert>");
      step->explained = true;
      return XP_TLS_REFUSED;
    case 'o':
      return XP_TLS_OTHER;
    default:
      return XP_TLS_REFUSED;
  }
}

xp_tls_status tls_step(const xp_tls_service*, xp_tls_handle* credentials, xp_tls_handle* context,
                       xp_tls_step* step) {
  EXPECT_EQ(credentials->lower, 1u);
  EXPECT_EQ(step->started, context->lower == 2);
  active->target = step->target ? step->target : "-";
  if (scripted_call_fails("tls step")) return XP_TLS_REFUSED;
  xp_tls_status status = XP_TLS_CONTINUE;
  if (!step->bytes) {
    give_token(step, "<hello>");
  } else {
    const uint32_t size = record_size(step->bytes, step->length);
    if (size == 0) return XP_TLS_INCOMPLETE;
    step->extra = step->length - size;
    step->has_extra = step->extra > 0;
    status = answer_record(static_cast<char>(step->bytes[0]), context, step);
  }
  if (status >= 0 && !step->started) {
    context->lower = 2;
    active->alive++;
  }
  return status;
}

void tls_delete_context(const xp_tls_service*, xp_tls_handle* context) {
  EXPECT_EQ(context->lower, 2u);
  *context = {};
  active->alive--;
}

void tls_free_token(const xp_tls_service*, xp_tls_token* token) {
  free(token->bytes);
  *token = {};
  active->alive--;
}

bool tls_sizes(const xp_tls_service*, xp_tls_handle*, xp_tls_sizes* out) {
  *out = {.header = 2, .trailer = 9, .maximum = 100};
  return !active->no_sizes && !scripted_call_fails("tls sizes");
}

// Uses one byte of the trailer only.
xp_tls_status tls_seal(const xp_tls_service*, xp_tls_handle*, uint8_t* record, uint32_t sizes[3]) {
  if (active->seal_fails || scripted_call_fails("tls seal")) return XP_TLS_REFUSED;
  EXPECT_EQ(record[0] + record[1] + record[sizes[0] + sizes[1]], 0) << "room is zeroed";
  record[0] = 's';
  record[1] = static_cast<uint8_t>(sizes[1]);
  record[sizes[0] + sizes[1]] = ';';
  sizes[2] = 1;
  return XP_TLS_OK;
}

xp_tls_status tls_open(const xp_tls_service*, xp_tls_handle*, uint8_t* bytes, uint32_t length,
                       xp_tls_piece pieces[4]) {
  active->opens++;
  if (scripted_call_fails("tls open")) return XP_TLS_REFUSED;
  const uint32_t size = record_size(bytes, length);
  if (size == 0) return XP_TLS_INCOMPLETE;
  if (bytes[0] == 'c') return XP_TLS_EXPIRED;
  if (bytes[0] == 'r') return XP_TLS_RENEGOTIATE;
  if (bytes[0] != 'd') return XP_TLS_REFUSED;
  pieces[0] = {.bytes = bytes, .length = 2, .kind = XP_TLS_PIECE_OTHER};
  pieces[1] = {.bytes = bytes + 2, .length = size - 2, .kind = XP_TLS_PIECE_DATA};
  pieces[2] = {};
  pieces[3] = {};
  if (length > size)
    pieces[3] = {.bytes = bytes + size, .length = length - size, .kind = XP_TLS_PIECE_EXTRA};
  return XP_TLS_OK;
}

bool tls_closing_token(const xp_tls_service*, xp_tls_handle*, xp_tls_handle*, bool, const char*,
                       xp_tls_token* token) {
  if (active->no_closing_token || scripted_call_fails("tls closing_token")) return false;
  xp_tls_step step = {};
  give_token(&step, "<bye>");
  *token = step.token;
  return true;
}

}  // namespace

std::string toy_record(char kind, const std::string& payload) {
  return std::string(1, kind) + static_cast<char>(payload.size()) + payload;
}

scripted_tls::scripted_tls(fake_platform* fake) {
  active = this;
  fake->tls = {.load = tls_load,
               .unload = tls_unload,
               .open_store = tls_open_store,
               .close_store = tls_close_store,
               .can_import = [] { return true; },
               .is_pfx = [](const void* bytes, uint32_t) { return !memcmp(bytes, "PFX", 3); },
               .import_pfx =
                   [](const void* bytes, uint32_t length, const char* password) {
                     const std::string text(static_cast<const char*>(bytes), length);
                     return text == std::string("PFX ") + password ? tls_open_store(99, "pfx")
                                                                   : nullptr;
                   },
               .find_certificate = tls_find_certificate,
               .free_certificate = tls_free_certificate,
               .acquire = tls_acquire,
               .free_credentials = tls_free_credentials,
               .step = tls_step,
               .delete_context = tls_delete_context,
               .free_token = tls_free_token,
               .sizes = tls_sizes,
               .seal = tls_seal,
               .open = tls_open,
               .closing_token = tls_closing_token};
}

scripted_tls::~scripted_tls() {
  EXPECT_EQ(alive, 0) << "something of the service's wasn't given back";
  active = nullptr;
}
