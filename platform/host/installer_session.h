// What one install knows: the package, its properties, and where its folders and files go.
#pragma once

#include "platform/host/installer_package.h"
#include "platform/host/registry_file.h"

struct installer_session {
  installer_session();
  installer_session(const installer_session&) = delete;
  installer_session& operator=(const installer_session&) = delete;
  ~installer_session();

  LibmsiDatabase* database = nullptr;
  char* package_name = nullptr;    // of the package's file
  char* package_folder = nullptr;  // in Windows form, with its backslash
  GHashTable* properties;          // name -> text
  GHashTable* folders;             // key of the Directory table -> Windows path with a backslash
  GHashTable* components;          // key of each component to install -> session_component
  GHashTable* files;               // key of each file to install -> Windows path
  bool is_64_bit = false;
  bool per_user = false;
};

struct session_component {
  char* folder;  // key of the Directory table
  bool is_64_bit;
};

// "" for a property that isn't set.
const char* session_property(const installer_session* session, const char* name);
void session_set(installer_session* session, const char* name, const char* text);
// Reads the properties of a command line, `NAME=text NAME="text with ""quotes"""`. False when it
// isn't one; the session may then hold a part of it.
bool session_read_command_line(installer_session* session, const char* text);
// Sets the computer's properties and the package's. What the command line says stands above them.
void session_read_package(installer_session* session);
// Works out folders, components and files. False when the Directory table goes in circles.
bool session_resolve(installer_session* session);
// Expands [NAME], [#file], [!file], [$component], [\x], [~] and {groups} of a formatted text. A
// NUL that [~] stands for counts in the result's length. The caller frees it.
GString* session_format(const installer_session* session, const char* text);
// Whether a condition holds; an empty one does, one that can't be read doesn't.
bool session_condition(const installer_session* session, const char* condition);

// Puts the package's files in their places, all or none: null when one can't be put, and *reason
// says why. `undo` takes them back and puts what they replaced in its place again; `keep` forgets
// what they replaced. One of the two ends a success.
struct installer_files;
installer_files* installer_files_put(const installer_session* session, const char** reason);
void installer_files_undo(installer_files* files);
void installer_files_keep(installer_files* files);

// Writes the package's Registry rows and the product's registration. False when memory is out.
bool installer_register(const installer_session* session, registry_text* registry);
// Takes the registration of a product (packed code) away, and adds the Linux paths of its files
// that the session doesn't install to `doomed`.
void installer_unregister(const installer_session* session, registry_text* registry,
                          const char* packed, const char* upgrade_packed, GPtrArray* doomed);

// Does with a package (Linux path) everything that reads it and nothing that lasts.
bool session_try_reading(const char* native);
