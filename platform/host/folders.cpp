#include "platform/host/host.h"

constinit const xp_folder_ops host_folders = {};
