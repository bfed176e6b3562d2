// Any bytes as a signed package or program, given to the trust service of the stand-in computer as
// a file: it gives a result and names signers that it found, whatever the file says. Nothing that
// a stranger wrote can be trusted, as no root is.
#include <stdio.h>
#include <stdlib.h>

#include "platform/host/host.h"
#include "platform/host/machine.h"
#include "platform/host/pe_file.h"

namespace {

constexpr char16_t FILE_NAME[] = u"C:\\package";

void write_file(const uint8_t* bytes, size_t size) {
  char path[HOST_PATH_SIZE];
  if (host_native_path(u"C:\\", path, sizeof path) != XP_FILE_OK) abort();
  if (host_native_path(FILE_NAME, path, sizeof path) != XP_FILE_OK) abort();
  FILE* file = fopen(path, "wb");
  if (!file || fwrite(bytes, 1, size, file) != size || fclose(file) != 0) abort();
}

void verify() {
  xp_trust* trust = host_trust.load();
  if (!trust || host_trust.verify(trust, FILE_NAME) == 0) abort();
  for (uint32_t signer = 0; signer < 3; signer++) {
    char16_t name[24];
    const int32_t units = host_trust.signer_name(trust, signer, name, 24);
    if (units > 24 || (units > 0 && name[units - 1] != 0)) abort();
  }
  host_trust.close(trust);
  host_trust.unload(trust);
}

void read_version(const uint8_t* bytes, size_t size) {
  pe_file file;
  uint16_t version[4];
  if (pe_open(bytes, size, &file)) (void)pe_file_version(&file, version);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  write_file(bytes, size);
  verify();
  read_version(bytes, size);
  return 0;
}
