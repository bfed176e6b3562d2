#include "update/ruvo_signature.h"

#include "platform/platform.h"
#include "update/ruvo_state.h"

namespace {

constexpr uint32_t NAME_UNITS = 64;  // longer names come back cut, and match nothing

// Compared exactly; ends in a null entry.
constexpr const char16_t* publishers[] = {u"Velandrim Software Inc.", u"Velandrim Software, LLC",
                                          nullptr};

bool same_text(const char16_t* a, const char16_t* b) {
  while (*a && *a == *b) {
    a++;
    b++;
  }
  return *a == *b;
}

bool is_known(const char16_t* name) {
  for (const char16_t* const* publisher = publishers; *publisher; publisher++)
    if (same_text(name, *publisher)) return true;
  return false;
}

// Only the leaf certificate of each signer counts. A name that can't be read moves on to the next
// signer.
int32_t check_publisher(xp_trust* trust) {
  const xp_trust_ops* ops = xp_platform->trust;
  // A service that can't name signers has verified the file, and no more can be asked of it.
  if (!ops->can_name_signers(trust)) return RUVO_OK;
  if (!ops->has_signers(trust)) return RUVO_FAILED;
  for (uint32_t index = 0;; index++) {
    char16_t name[NAME_UNITS];
    const int32_t units = ops->signer_name(trust, index, name, NAME_UNITS);
    if (units < 0) return RUVO_FAILED;
    if (units > 0 && is_known(name)) return RUVO_OK;
  }
}

}  // namespace

int32_t ruvo_verify_signature(const char16_t* path) {
  const xp_trust_ops* ops = xp_platform->trust;
  xp_trust* trust = ops->load();
  if (!trust) return RUVO_FAILED;
  int32_t result = ops->verify(trust, path);
  if (result == 0) result = check_publisher(trust);
  ops->close(trust);
  ops->unload(trust);
  return result;
}
