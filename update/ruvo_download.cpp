#include "update/ruvo_download.h"

#include "codec/xp_gzip.h"
#include "object/xp_ref.h"
#include "stream/xp_file_stream.h"
#include "stream/xp_http.h"

namespace {

constexpr int32_t TIMEOUT_SECONDS = 30;
constexpr int32_t STATUS_OK = 200;
constexpr int32_t NO_RESPONSE = 1;

// A dictionary of one entry, which takes the value over; null when memory is out.
xp_dict* dict_of(const char* key, xp_object* value) {
  const xp_ref<> owned(value);
  xp_ref<xp_dict> dict(xp_dict_new(0));
  if (!dict || !value || xp_dict_set(dict.get(), key, -1, value) != 0) return nullptr;
  return dict.take();
}

// The client with the settings of an installer's download; null when memory is out. The name in
// the request is what servers know this client by.
xp_http* new_client(xp_str* url, xp_str* proxy) {
  xp_ref<xp_http> http(xp_http_new());
  if (!http) return nullptr;
  http->url = xp_url_new(xp_str_text(url), -1);
  http->decoders = dict_of("gzip", xp_http_decoder_new(xp_gzip_stream_new, nullptr));
  http->proxy = xp_retain(proxy);
  http->connect_timeout = http->receive_timeout = http->send_timeout = TIMEOUT_SECONDS;
  http->request_headers = dict_of("User-Agent", xp_str_new_constant("Tallyport/8.0.0.0"));
  // Without its URL the client would ask a proxy for nothing, and take the answer for an installer.
  if (!http->url && !xp_str_is_empty(url)) return nullptr;
  if (!http->decoders || !http->request_headers) return nullptr;
  return http.take();
}

}  // namespace

int32_t ruvo_download(xp_str* url, xp_str* proxy, xp_path* path) {
  const xp_ref<xp_http> http(new_client(url, proxy));
  if (!http) return XP_E_PARAMETER;
  const xp_ref<xp_stream> file(xp_file_stream_new(path));
  const int32_t code = xp_http_exchange(http.get(), 1, file.get(), nullptr, nullptr);
  if (code != XP_OK) return code;
  if (!http->done) return NO_RESPONSE;
  return http->status == STATUS_OK ? XP_OK : http->status;
}
