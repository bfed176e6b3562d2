// The spine of the program: one run, from its arguments to its result. The order of the decisions
// is fixed; ruvo_run at the end of the file is that order.
#include <string.h>

#include "cmdline/xp_log.h"
#include "object/xp_bool.h"
#include "object/xp_ref.h"
#include "paths/xp_file.h"
#include "stream/xp_console_stream.h"
#include "stream/xp_file_stream.h"
#include "update/ruvo.h"
#include "update/ruvo_acquire.h"
#include "update/ruvo_download.h"
#include "update/ruvo_events.h"
#include "update/ruvo_gates.h"
#include "update/ruvo_install.h"
#include "update/ruvo_installed.h"
#include "update/ruvo_options.h"
#include "update/ruvo_proxy.h"
#include "update/ruvo_signature.h"
#include "update/ruvo_state.h"

namespace {

// What a step says of the run.
enum ruvo_step : int32_t {
  RUVO_GO_ON,
  RUVO_END,  // the run result is set; go to the clean-up
};

template <class... A>
void log_course(uint32_t event_id, const char* format, const A&... arguments) {
  (void)xp_log(nullptr, RUVO_LOG_COURSE, event_id, format, arguments...);
}

template <class... A>
void log_outcome(uint32_t event_id, const char* format, const A&... arguments) {
  (void)xp_log(nullptr, RUVO_LOG_OUTCOME, event_id, format, arguments...);
}

// Ends the run with a result of its own.
ruvo_step end_with(ruvo_state* state, int32_t run_result) {
  state->run_result = run_result;
  return RUVO_END;
}

template <class T>
void drop(T** field) {
  xp_object_release(*field);
  *field = nullptr;
}

bool is_true(xp_object* object) {
  const xp_bool* truth = xp_as_bool(object);
  return truth && truth->value;
}

// ---- options and settings --------------------------------------------------------------------

// Nothing can be recorded before the settings have had their say on the log level.
void prepare_log() {
  if (!xp_log_default()) {
    xp_log_set_default(xp_log_new(RUVO_EVENT_SOURCE));
    if (xp_log_default()) xp_log_register_source(RUVO_EVENT_SOURCE);
  }
  if (xp_logger* log = xp_log_default()) log->categories = 0;
}

void print_usage(xp_args* args, const char* invalid_argument) {
  constexpr int32_t STANDARD_ERROR = 2;
  xp_ref stream(xp_console_output_new(STANDARD_ERROR));
  if (xp_stream_open(stream.get(), STREAM_MODE_WRITE) != 0) return;
  if (invalid_argument)
    (void)xp_stream_printf(stream.get(), "\ninvalid option: %s\n\n", invalid_argument);
  xp_arg_usage(args, args->argv[0], stream.get());
  xp_stream_close(stream.get());
}

ruvo_step parse_options(ruvo_state* state, int32_t argc, const char* const* argv) {
  xp_arg_option options[RUVO_OPTION_COUNT];
  ruvo_fill_options(options, state);
  xp_ref args(xp_args_new(options, RUVO_OPTION_COUNT, nullptr, argc, argv));
  if (args && xp_args_parse(args.get()) != 0) state->help = -args->index;
  state->run_result = RUVO_EXPIRED;
  if (state->help == 0) return RUVO_GO_ON;
  const bool invalid = state->help < 0;
  if (!invalid || !state->quiet) print_usage(args.get(), invalid ? argv[args->index] : nullptr);
  return end_with(state, invalid ? RUVO_INVALID_OPTION : RUVO_OK);
}

// A level of 1 to 14 lets that many categories through from the lowest, 15 and above all of them.
void apply_log_level(int32_t level) {
  xp_logger* log = xp_log_default();
  if (!log) return;
  if (level >= 15)
    log->categories = 0xFFFFFFFF;
  else if (level > 0)
    log->categories |= (1u << level) - 1;
}

// ---- acquiring -------------------------------------------------------------------------------

// A file:// URL names a local installer.
void take_file_url(ruvo_state* state) {
  static const char prefix[] = "file://";
  constexpr int32_t length = sizeof(prefix) - 1;
  if (state->file || xp_str_is_empty(state->url) || state->url->length < length ||
      xp_text_compare_nocase(state->url->text, length, prefix, length) != 0)
    return;
  state->file = xp_path_full(state->url->text + length, -1);
  drop(&state->url);
}

ruvo_step extract_local(ruvo_state* state) {
  drop(&state->url);  // nothing that the clean-up deletes belongs to a local installer
  xp_ref flat(xp_path_flatten(state->file));
  if (!flat || flat->length == 0) {
    (void)xp_log(nullptr, RUVO_LOG_SPAN, RUVO_EVENT_OPERATION, "improper file path");
    return end_with(state, RUVO_BAD_FILE_PATH);
  }
  state->payload = ruvo_extract_installer(state->file, state->name);
  drop(&state->file);
  return RUVO_GO_ON;
}

ruvo_step check_necessity(ruvo_state* state) {
  if (ruvo_installed_check(state->instpath, state->version, state->mode) ==
      RUVO_INSTALL_MAY_BE_NEEDED)
    return RUVO_GO_ON;
  log_course(RUVO_EVENT_NOT_NECESSARY, "install not necessary");
  return end_with(state, RUVO_OK);
}

void choose_name(ruvo_state* state) {
  if (!xp_str_is_empty(state->name)) return;
  drop(&state->name);
  state->name = ruvo_name_from_url(state->url);
}

// The cache folder, made when absent. Without one the download goes to a temporary file.
void open_cache(ruvo_state* state) {
  if (xp_str_is_empty(state->name)) return;
  state->cache_folder = xp_path_known_child(xp_tag("temp"), "Tallyport");
  if (xp_path_is_folder(state->cache_folder) != 0 && xp_path_make_folders(state->cache_folder) != 0)
    drop(&state->cache_folder);
}

bool find_cached(ruvo_state* state) {
  if (!state->cache_folder || xp_str_is_empty(state->digest)) return false;
  xp_ref candidate(xp_path_child(state->cache_folder, state->name->text));
  if (!candidate || ruvo_digest_matches(candidate.get(), state->digest) != 0) return false;
  log_course(RUVO_EVENT_CACHE, "found matching installer at %p{O}", candidate.get());
  state->installer = candidate.take();
  return true;
}

void choose_proxy(ruvo_state* state) {
  if (is_true(state->proxy)) {
    drop(&state->proxy);
    state->proxy = ruvo_system_proxy(state->url);
  }
  if (!xp_as_str(state->proxy)) drop(&state->proxy);
  if (xp_str_is_empty(xp_as_str(state->proxy)))
    log_course(RUVO_EVENT_DOWNLOADING, "downloading installer from %p{O}", state->url);
  else
    log_course(RUVO_EVENT_DOWNLOADING, "downloading installer from %p{O} using proxy %p{O}",
               state->url, state->proxy);
}

// Makes the file anew. One that somebody holds open can't be deleted; what it held is cut off, or
// it would stay behind the end of a shorter download.
void make_empty(xp_path* path) {
  xp_file_delete(path);
  if (xp_file_create(path) == XP_OK) return;
  xp_ref stream(xp_file_stream_new(path));
  if (xp_stream_open(stream.get(), STREAM_MODE_WRITE | STREAM_MODE_TRUNCATE) == XP_OK)
    xp_stream_close(stream.get());
}

ruvo_step download(ruvo_state* state) {
  state->installer = state->cache_folder ? xp_path_child(state->cache_folder, state->name->text)
                                         : xp_path_temp_file();
  make_empty(state->installer);
  const int32_t result = ruvo_download(state->url, xp_as_str(state->proxy), state->installer);
  if (result == 0) return RUVO_GO_ON;
  xp_file_delete(state->installer);
  log_outcome(RUVO_EVENT_NO_INSTALLER, "failed to download installer (%d)", result);
  return end_with(state, result);
}

ruvo_step fetch(ruvo_state* state) {
  if (check_necessity(state) == RUVO_END) return RUVO_END;
  choose_name(state);
  open_cache(state);
  if (!find_cached(state)) {
    choose_proxy(state);
    if (download(state) == RUVO_END) return RUVO_END;
  }
  state->payload = ruvo_extract_installer(state->installer, state->name);
  return RUVO_GO_ON;
}

ruvo_step acquire(ruvo_state* state) {
  take_file_url(state);
  if (state->file) {
    if (extract_local(state) == RUVO_END) return RUVO_END;
  } else if (xp_str_is_empty(state->url)) {
    return end_with(state, RUVO_NO_INSTRUCTIONS);
  } else if (fetch(state) == RUVO_END) {
    return RUVO_END;
  }
  if (state->payload) return RUVO_GO_ON;
  log_outcome(RUVO_EVENT_NO_INSTALLER, "failed to extract installer");
  return end_with(state, RUVO_NO_INSTALLER);
}

// ---- verifying, installing, telling ----------------------------------------------------------

ruvo_step verify(ruvo_state* state) {
  xp_block<char16_t> wide(xp_path_to_wide(state->payload));
  if (!wide) {
    log_outcome(RUVO_EVENT_OPERATION, "operation error");
    return end_with(state, RUVO_FAILED);
  }
  state->run_result = ruvo_verify_signature(wide.get());
  if (state->run_result == RUVO_OK) return RUVO_GO_ON;
  log_outcome(RUVO_EVENT_SIGNATURE, "invalid, incorrect, or missing signature");
  return RUVO_END;
}

ruvo_step install(ruvo_state* state) {
  ruvo_filter_properties(state->properties);
  state->run_result = ruvo_install(state->payload, state->version, state->properties, state->mode);
  const bool installed = state->run_result == RUVO_OK || state->run_result == RUVO_REBOOT_NEEDED;
  return installed ? RUVO_GO_ON : RUVO_END;
}

// The component that the user is told of, as a new reference; null for no notification.
xp_object* announced_component(xp_object* notify) {
  static const char client[] = "Velandrim Tallyhall Platform Client";
  const xp_str* text = xp_as_str(notify);
  if (text && text->length > 0) return xp_object_retain(notify);
  return text || is_true(notify) ? xp_str_new_constant(client) : nullptr;
}

void notify_user(const ruvo_state* state) {
  xp_ref component(announced_component(state->notify));
  if (!component) return;
  xp_ref text(
      xp_str_format("The %p{O} component has been updated to version %p{O} on this computer.",
                    component.get(), state->version));
  xp_platform->system->message_box(xp_str_text(text.get()),
                                   "Velandrim Tallyhall Platform Client Installation Complete");
}

// ---- the end ---------------------------------------------------------------------------------

// Only what came from a URL is cleaned up: on the local course the URL is gone, and the given
// file and what was made beside it stay.
void clean_up_files(const ruvo_state* state) {
  if (!state->url) return;
  if (state->cache_folder)
    log_course(RUVO_EVENT_CACHE, "leaving installer at %p{O}", state->installer);
  else
    xp_file_delete(state->installer);
  if (state->payload && xp_object_compare(state->payload, state->installer) != 0)
    xp_file_delete(state->payload);
}

void release_all(ruvo_state* state) {
  xp_object* const objects[] = {
      state->url,           state->proxy,      state->name,       state->file,
      state->version,       state->digest,     state->instpath,   state->notify,
      state->settings_file, state->properties, state->os_minimum, state->os_maximum,
      state->cache_folder,  state->installer,  state->payload,
  };
  for (xp_object* object : objects)
    xp_object_release(object);
}

// The course between the settings and the clean-up.
void follow_instructions(ruvo_state* state) {
  apply_log_level(state->loglevel);
  (void)xp_log(nullptr, RUVO_LOG_SPAN, RUVO_EVENT_STARTED, "update process started");
  if (!ruvo_pass_gates(state)) return;
  if (acquire(state) == RUVO_END) return;
  if (verify(state) == RUVO_END) return;
  if (state->verify) return;
  if (install(state) == RUVO_END) return;
  notify_user(state);
}

}  // namespace

int32_t ruvo_run(int32_t argc, const char* const* argv) {
  ruvo_state state = {};
  state.loglevel = 1;
  prepare_log();
  if (parse_options(&state, argc, argv) == RUVO_GO_ON) {
    if (!ruvo_read_settings(&state)) {
      // No other key has been read, so the level is the command line's.
      apply_log_level(state.loglevel);
      log_course(RUVO_EVENT_DISABLED, "update process is disabled");
      release_all(&state);
      return RUVO_OK;
    }
    follow_instructions(&state);
  }
  clean_up_files(&state);
  release_all(&state);
  (void)xp_log(nullptr, RUVO_LOG_SPAN, RUVO_EVENT_COMPLETED,
               "update process completed with result %d", state.run_result);
  return state.result ? state.run_result : RUVO_OK;
}
