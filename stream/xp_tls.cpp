#include "stream/xp_tls.h"

#include <string.h>

#include "object/xp_ref.h"
#include "paths/xp_path.h"
#include "stream/xp_file_stream.h"

namespace {

const xp_tls_ops* security() {
  return xp_platform->tls;
}

// ---- certificate -----------------------------------------------------------------------------

xp_tls_store* store_of_service(const xp_str* service) {
  if (!service) return xp_tls_open_store(XP_TLS_STORE_USER, "MY");
  if (service->length == 0) return xp_tls_open_store(XP_TLS_STORE_MACHINE, "MY");
  const xp_ref<xp_str> name(xp_str_append(const_cast<xp_str*>(service), "\\MY", 3));
  return name ? xp_tls_open_store(XP_TLS_STORE_SERVICE, name->text) : nullptr;
}

// Opens the store that `keys` names into the socket and looks the certificate up. Null is no
// failure: the handshake then goes on without one.
xp_tls_certificate* find_certificate(xp_socket* socket) {
  if (xp_str_is_empty(socket->keys)) return nullptr;
  const xp_block<char> copy(xp_block<char>::of(static_cast<size_t>(socket->keys->length) + 1));
  if (!copy) return nullptr;
  char* subject = copy.get();
  memcpy(subject, socket->keys->text, static_cast<size_t>(socket->keys->length));
  char* password = strchr(subject, ':');
  if (password) *password++ = 0;
  char* file = password ? strchr(password, '@') : nullptr;
  if (file) *file++ = 0;
  socket->certificate_store =
      file ? xp_tls_load_pfx(password, file) : store_of_service(socket->srvc);
  if (!socket->certificate_store) return nullptr;
  return security()->find_certificate(socket->certificate_store, subject);
}

// ---- credentials -----------------------------------------------------------------------------

uint32_t protocols_of(uint32_t word) {
  switch (word & XP_SECURITY_PROTOCOL) {
    case 1:
      return XP_TLS_SSL2;
    case 2:
      return XP_TLS_SSL3;
    case 3:
      return XP_TLS_TLS1;
    default:
      return XP_TLS_ANY;
  }
}

uint32_t leniency_of(uint32_t word) {
  uint32_t leniency = 0;
  if (!(word & XP_SECURITY_CHECK_NAME)) leniency |= XP_TLS_SKIP_NAME;
  if (!(word & XP_SECURITY_CHECK_CHAIN)) leniency |= XP_TLS_SKIP_CHAIN;
  return leniency;
}

bool acquire(xp_socket* socket, bool server) {
  const xp_tls_credentials_request request = {
      .server = server,
      .certificate = find_certificate(socket),
      .protocols = protocols_of(socket->security),
      .leniency = leniency_of(socket->security),
  };
  const bool acquired = security()->acquire(&socket->service, &request, &socket->credentials);
  if (request.certificate) security()->free_certificate(request.certificate);
  return acquired;
}

// The steps that bring a channel down, in this order.
void free_context(xp_socket* socket) {
  security()->delete_context(&socket->service, &socket->context);
}

void free_record_buffer(xp_socket* socket) {
  xp_heap_free(socket->record_buffer);
  socket->record_buffer = nullptr;
  socket->record_count = socket->plain_count = 0;
  socket->plain_at = socket->sealed_at = 0;
}

void free_credentials(xp_socket* socket) {
  security()->free_credentials(&socket->service, &socket->credentials);
}

void free_store_and_library(xp_socket* socket) {
  if (socket->certificate_store) xp_tls_close_store(socket->certificate_store);
  socket->certificate_store = nullptr;
  security()->unload(&socket->service);
}

// ---- handshake -------------------------------------------------------------------------------

// Receives behind what the record buffer holds: bytes, or the result that ended it.
int32_t receive_record_bytes(xp_socket* socket) {
  const int32_t got =
      xp_socket_receive(socket, socket->record_buffer + socket->record_count,
                        static_cast<int32_t>(XP_TLS_RECORD_BUFFER - socket->record_count));
  if (got > 0) socket->record_count += static_cast<uint32_t>(got);
  return got;
}

// A dead peer shows at the next receive, so what the send says is not looked at.
void send_token(xp_socket* socket, xp_tls_token* token) {
  if (!token->bytes) return;
  (void)xp_socket_send_all(socket, token->bytes, static_cast<int32_t>(token->length));
  security()->free_token(&socket->service, token);
}

// Leaves the bytes that the step didn't use at the front.
void keep_extra(xp_socket* socket, const xp_tls_step* step) {
  const uint32_t extra = step->has_extra && step->extra <= socket->record_count ? step->extra : 0;
  memmove(socket->record_buffer, socket->record_buffer + socket->record_count - extra, extra);
  socket->record_count = extra;
}

// Runs the handshake to its end. `*started` tells whether there is a context.
int32_t shake_hands(xp_socket* socket, bool server, bool* started) {
  xp_tls_status status = server ? XP_TLS_INCOMPLETE : XP_TLS_CONTINUE;
  for (bool first = !server;; first = false) {
    if (status == XP_TLS_INCOMPLETE) {
      if (receive_record_bytes(socket) < 1) return XP_E_TLS_NETWORK;
    } else if (status != XP_TLS_CONTINUE && status != XP_TLS_INCOMPLETE_CREDENTIALS) {
      return XP_E_TLS_NETWORK;
    }
    xp_tls_step step = {
        .server = server,
        .started = *started,
        .target = socket->host ? socket->host->text : nullptr,
        .bytes = first ? nullptr : socket->record_buffer,
        .length = first ? 0 : socket->record_count,
        .extra = 0,
        .has_extra = false,
        .explained = false,
        .token = {},
    };
    status = security()->step(&socket->service, &socket->credentials, &socket->context, &step);
    if (status == XP_TLS_INCOMPLETE) continue;
    if (status >= 0) *started = true;
    if (status >= 0 || step.explained) send_token(socket, &step.token);
    if (status < 0) return XP_E_TLS_REFUSED;
    if (status != XP_TLS_INCOMPLETE_CREDENTIALS) keep_extra(socket, &step);
    if (status == XP_TLS_OK) return XP_OK;
  }
}

int32_t make_send_buffer(xp_socket* socket) {
  xp_tls_sizes sizes;
  if (!security()->sizes(&socket->service, &socket->context, &sizes)) return XP_E_TLS_NETWORK;
  // The service's sizes are small; anything else can't be worked with.
  const uint64_t total =
      static_cast<uint64_t>(sizes.header) + sizes.trailer + static_cast<uint64_t>(sizes.maximum);
  if (sizes.maximum == 0 || total > INT32_MAX) return XP_E_TLS_NETWORK;
  socket->send_buffer = static_cast<uint8_t*>(xp_heap_alloc(total));
  if (!socket->send_buffer) return XP_E_TLS_NETWORK;
  socket->header_size = sizes.header;
  socket->trailer_size = sizes.trailer;
  socket->maximum_message = sizes.maximum;
  return XP_OK;
}

int32_t open_channel(xp_socket* socket, bool server) {
  bool started = false;
  int32_t code = shake_hands(socket, server, &started);
  if (code == XP_OK) code = make_send_buffer(socket);
  if (code != XP_OK && started) free_context(socket);
  return code;
}

// ---- records ---------------------------------------------------------------------------------

int32_t seal_piece(xp_socket* socket, const uint8_t* bytes, uint32_t length) {
  uint32_t sizes[3] = {socket->header_size, length, socket->trailer_size};
  uint8_t* record = socket->send_buffer;
  memset(record, 0, sizes[0]);
  memcpy(record + sizes[0], bytes, length);
  memset(record + sizes[0] + length, 0, sizes[2]);
  if (security()->seal(&socket->service, &socket->context, record, sizes) < 0)
    return XP_E_TLS_RECORD;
  return xp_socket_send_all(socket, record, static_cast<int32_t>(sizes[0] + sizes[1] + sizes[2]));
}

// Takes over the pieces that a record became: decrypted bytes, then what lay behind the record.
// They stay where they are, as far as pieces of one kind lie one behind the other.
void gather(xp_socket* socket, const xp_tls_piece pieces[4]) {
  socket->record_count = 0;
  uint32_t sealed_count = 0;
  for (int i = 0; i < 4; i++) {
    const xp_tls_piece& piece = pieces[i];
    if (piece.length == 0) continue;
    const bool plain = piece.kind == XP_TLS_PIECE_DATA;
    if (!plain && piece.kind != XP_TLS_PIECE_EXTRA) continue;
    uint32_t& at = plain ? socket->plain_at : socket->sealed_at;
    uint32_t& count = plain ? socket->plain_count : sealed_count;
    if (count == 0)
      at = static_cast<uint32_t>(piece.bytes - socket->record_buffer);
    else
      memmove(socket->record_buffer + at + count, piece.bytes, piece.length);
    count += piece.length;
    socket->record_count += piece.length;
  }
}

enum open_outcome { OPENED, NEEDS_MORE, CLOSED, BROKEN };

// Opens the record at the front.
open_outcome open_record(xp_socket* socket) {
  xp_tls_piece pieces[4] = {};
  const xp_tls_status status =
      security()->open(&socket->service, &socket->context,
                       socket->record_buffer + socket->sealed_at, socket->record_count, pieces);
  if (status == XP_TLS_OK) {
    gather(socket, pieces);
    return OPENED;
  }
  if (status == XP_TLS_INCOMPLETE) return NEEDS_MORE;
  socket->record_count = 0;
  xp_socket_set_closing(socket);
  return status == XP_TLS_EXPIRED ? CLOSED : BROKEN;
}

int32_t receive_more(xp_socket* socket, int32_t wait) {
  memmove(socket->record_buffer, socket->record_buffer + socket->sealed_at, socket->record_count);
  socket->sealed_at = 0;
  if (wait == 0) return receive_record_bytes(socket);
  const int32_t got = xp_socket_receive_within(
      socket, socket->record_buffer + socket->record_count,
      static_cast<int32_t>(XP_TLS_RECORD_BUFFER - socket->record_count), wait);
  if (got > 0) socket->record_count += static_cast<uint32_t>(got);
  return got;
}

// Works until there are decrypted bytes: 1, or the result that ends the read.
int32_t fill_plain(xp_socket* socket, int32_t wait) {
  while (socket->plain_count == 0) {
    if (socket->record_count > 0) {
      const open_outcome outcome = open_record(socket);
      if (outcome == OPENED) continue;
      if (outcome == CLOSED) return 0;
      if (outcome == BROKEN) return XP_E_TLS_RECORD;
    }
    const int32_t got = receive_more(socket, wait);
    if (wait != 0 && got == XP_SOCKET_NOTHING) return 0;
    if (got > 0) continue;
    if (got < 0 || socket->receive_timeout >= 0) xp_socket_set_closing(socket);
    return got;
  }
  return 1;
}

}  // namespace

int32_t xp_tls_start(xp_socket* socket, bool server) {
  if (socket->security == 0 || xp_tls_is_up(socket) || socket->handle == XP_SOCKET_INVALID)
    return XP_OK;
  if (!security()->load(&socket->service)) return XP_E_TLS_SERVICE;
  int32_t code = XP_E_TLS_SERVICE;
  if (acquire(socket, server)) {
    socket->record_buffer = static_cast<uint8_t*>(xp_heap_alloc(XP_TLS_RECORD_BUFFER));
    code = socket->record_buffer ? open_channel(socket, server) : XP_E_MEMORY;
    if (code == XP_OK) {
      socket->tls_state = static_cast<int32_t>(socket->security & XP_SECURITY_PROTOCOL);
      return XP_OK;
    }
    free_record_buffer(socket);
    free_credentials(socket);
  }
  free_store_and_library(socket);
  return code;
}

int32_t xp_tls_write(xp_socket* socket, const void* bytes, int32_t length) {
  const auto* cursor = static_cast<const uint8_t*>(bytes);
  auto left = length > 0 ? static_cast<uint32_t>(length) : 0;
  while (left > 0) {
    const uint32_t piece = left < socket->maximum_message ? left : socket->maximum_message;
    const int32_t sent = seal_piece(socket, cursor, piece);
    if (sent < 0) {
      xp_socket_set_closing(socket);
      return sent;
    }
    cursor += piece;
    left -= piece;
  }
  return length;
}

int32_t xp_tls_read(xp_socket* socket, void* buffer, int32_t length, int32_t wait) {
  const int32_t filled = fill_plain(socket, wait);
  if (filled < 1) return filled;
  if (wait != 0) return static_cast<int32_t>(socket->plain_count);
  const uint32_t wanted = length > 0 ? static_cast<uint32_t>(length) : 0;
  const uint32_t count = socket->plain_count < wanted ? socket->plain_count : wanted;
  memcpy(buffer, socket->record_buffer + socket->plain_at, count);
  socket->plain_at += count;
  socket->plain_count -= count;
  socket->record_count -= count;
  return static_cast<int32_t>(count);
}

void xp_tls_stop(xp_socket* socket) {
  if (!xp_tls_is_up(socket)) return;
  xp_tls_token token = {};
  if (security()->closing_token(&socket->service, &socket->credentials, &socket->context,
                                xp_socket_is_tls_server(socket),
                                socket->host ? socket->host->text : nullptr, &token))
    send_token(socket, &token);
  free_context(socket);
  xp_heap_free(socket->send_buffer);
  socket->send_buffer = nullptr;
  free_record_buffer(socket);
  free_credentials(socket);
  free_store_and_library(socket);
  socket->tls_state = -1;
}

xp_tls_store* xp_tls_open_store(uint32_t flags, const char* name) {
  return security()->open_store(flags, name);
}

void xp_tls_close_store(xp_tls_store* store) {
  security()->close_store(store);
}

// The whole of an open file, `*length` its size; null when it can't be read in full.
static uint8_t* read_whole(xp_stream* stream, int32_t* length) {
  int64_t size = -1;
  if (xp_stream_size(stream, &size) != XP_OK || size <= 0 || size > INT32_MAX) return nullptr;
  xp_block<uint8_t> bytes(xp_block<uint8_t>::of(static_cast<size_t>(size)));
  if (!bytes) return nullptr;
  *length = 0;
  while (*length < size) {
    const int32_t got =
        xp_stream_read(stream, bytes.get() + *length, static_cast<int32_t>(size) - *length);
    if (got < 1) return nullptr;
    *length += got;
  }
  return bytes.take();
}

xp_tls_store* xp_tls_load_pfx(const char* password, const char* file) {
  if (!security()->can_import()) return nullptr;
  const xp_ref<xp_path> path(xp_path_full(file, -1));
  const xp_ref<xp_stream> stream(xp_file_stream_new(path.get()));
  if (!stream || xp_stream_open(stream.get(), 0) != XP_OK) return nullptr;
  int32_t length = 0;
  const xp_block<uint8_t> bytes(read_whole(stream.get(), &length));
  xp_stream_close(stream.get());
  if (!bytes || !security()->is_pfx(bytes.get(), static_cast<uint32_t>(length))) return nullptr;
  return security()->import_pfx(bytes.get(), static_cast<uint32_t>(length), password);
}
