#include "platform/host/host.h"

constinit const xp_file_ops host_files = {};
