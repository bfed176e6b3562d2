// A peer's whole side of one exchange, in pieces whose size the first byte gives: redirects,
// framing, content coding and all.
#include <stdint.h>
#include <stdlib.h>

#include "codec/xp_gzip.h"
#include "object/xp_ref.h"
#include "stream/xp_http.h"
#include "tests/support/canned_socket.h"

static xp_stream* new_sink() {
  auto* sink = xp_object_new<xp_stream>(xp_tag("sink"));
  sink->open = [](xp_stream*, uint32_t) { return 0; };
  sink->close = [](xp_stream*) { return 0; };
  sink->write = [](xp_stream*, const void*, int32_t length) { return length; };
  return sink;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  if (size < 1) return 0;
  canned_socket socket;
  socket.deliver(bytes + 1, size - 1, bytes[0] + size_t{1});
  const xp_ref<xp_stream> sink(new_sink());
  const xp_ref<xp_http> http(xp_http_new());
  const xp_ref<xp_http_decoder> decoder(xp_http_decoder_new(xp_gzip_stream_new, nullptr));
  http->url = xp_url_new("http://h/p?a=1", -1);
  http->decoders = xp_dict_new(0);
  http->follow_redirects = bytes[0] & 1;
  xp_dict_set(http->decoders, "gzip", -1, decoder.get());
  const int32_t code = xp_http_exchange(http.get(), 1, sink.get(), nullptr, nullptr);
  if (sink->open_count != 0 || (code != 0 && !http->done)) abort();
  return 0;
}
