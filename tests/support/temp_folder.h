// A scratch folder for a test, made through the seam below the system's temporary folder.
#pragma once

#include <map>
#include <string>

#include "object/xp_ref.h"
#include "paths/xp_path.h"

struct temp_folder {
  temp_folder();
  // Removes the folder and what is in it. The stand-in computer has no call for that; there it
  // goes with the machine folder of the test run.
  ~temp_folder();
  temp_folder(const temp_folder&) = delete;
  temp_folder& operator=(const temp_folder&) = delete;

  // The path of an entry, whether it exists or not; backslashes lead further down.
  xp_ref<xp_path> at(const char* name) const;
  // Makes (or overwrites) a file with this content.
  xp_ref<xp_path> write(const char* name, const std::string& content) const;
  // Makes a folder.
  xp_ref<xp_path> make(const char* name) const;

  xp_ref<xp_path> path;
};

// A path's whole text, "(null)" for null.
std::string text_of(xp_path* path);
template <class T>
std::string text_of(const xp_ref<T>& path) {
  return text_of(path.get());
}
// A file's content, through the seam; "(none)" when it can't be opened.
std::string content_of(xp_path* path);
std::string content_of(const char16_t* path, const xp_file_ops* files);
// All files below a folder: their paths from there, with backslashes, and their contents.
std::map<std::string, std::string> files_below(xp_path* folder);
