// What a run does with the whole installer, one step a process, for bench/installer.sh:
//   installer_steps digest FILE HEX      1 when the digest is another one
//   installer_steps copy FILE OUT        the code of the copy
#include <stdio.h>
#include <string.h>

#include "object/xp_ref.h"
#include "stream/xp_file_stream.h"
#include "update/ruvo_acquire.h"
#include "update/ruvo_container.h"

int main(int count, char** arguments) {
  if (count != 4) {
    fputs("usage: installer_steps digest FILE HEX | copy FILE OUT\n", stderr);
    return 2;
  }
  xp_ref path(xp_path_full(arguments[2], -1));
  if (strcmp(arguments[1], "digest") == 0) {
    xp_ref digest(xp_str_new(arguments[3]));
    return ruvo_digest_matches(path.get(), digest.get()) == 0 ? 0 : 1;
  }
  xp_ref output(xp_path_full(arguments[3], -1));
  xp_ref stream(xp_file_stream_new(path.get()));
  return ruvo_container_copy_out(stream.get(), output.get(), -1);
}
