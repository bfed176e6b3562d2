#include "tests/support/temp_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "object/xp_trav.h"
#include "paths/xp_file.h"

temp_folder::temp_folder() : path(xp_path_temp_file()) {
  EXPECT_EQ(xp_path_make_folders(path.get()), XP_OK);
}

temp_folder::~temp_folder() {
  const xp_block<char16_t> wide(xp_path_to_wide(path.get()));
  std::error_code ignored;
  std::filesystem::remove_all(std::u16string(wide.get()), ignored);
}

xp_ref<xp_path> temp_folder::at(const char* name) const {
  return xp_ref(xp_path_new(path.get(), name, -1));
}

xp_ref<xp_path> temp_folder::write(const char* name, const std::string& content) const {
  xp_ref<xp_path> file = at(name);
  const xp_block<char16_t> wide(xp_path_to_wide(file.get()));
  const xp_file_ops* files = xp_platform->files;
  (void)xp_file_create(file.get());  // it may be there
  xp_file_handle handle = 0;
  EXPECT_EQ(files->open(wide.get(), XP_FILE_READ | XP_FILE_WRITE, XP_FILE_SHARE_READ,
                        XP_FILE_OPEN_EXISTING, &handle),
            XP_FILE_OK);
  EXPECT_EQ(xp_file_truncate(handle, 0), XP_OK);
  uint32_t done = 0;
  EXPECT_EQ(files->write(handle, content.data(), static_cast<uint32_t>(content.size()), &done),
            XP_FILE_OK);
  EXPECT_EQ(done, content.size());
  files->close(handle);
  return file;
}

xp_ref<xp_path> temp_folder::make(const char* name) const {
  xp_ref<xp_path> folder = at(name);
  EXPECT_EQ(xp_path_make_folders(folder.get()), XP_OK);
  return folder;
}

std::string text_of(xp_path* path) {
  if (!path) return "(null)";
  std::string text(static_cast<size_t>(path->render(path, nullptr, 0)), 0);
  path->render(path, text.data(), static_cast<uint32_t>(text.size()));
  return text;
}

std::string content_of(const char16_t* path, const xp_file_ops* files) {
  xp_file_handle handle = 0;
  if (files->open(path, XP_FILE_READ, XP_FILE_SHARE_READ | XP_FILE_SHARE_WRITE,
                  XP_FILE_OPEN_EXISTING, &handle) != XP_FILE_OK)
    return "(none)";
  std::string content;
  char buffer[4096];
  uint32_t done = 0;
  while (files->read(handle, buffer, sizeof(buffer), &done) == XP_FILE_OK && done > 0)
    content.append(buffer, done);
  files->close(handle);
  return content;
}

std::string content_of(xp_path* path) {
  const xp_block<char16_t> wide(xp_path_to_wide(path));
  return content_of(wide.get(), xp_platform->files);
}

std::map<std::string, std::string> files_below(xp_path* folder) {
  std::map<std::string, std::string> files;
  const size_t cut = text_of(folder).size() + 1;
  xp_ref walk(xp_traversal_new(folder));
  while (xp_ref item{xp_traversal_next(walk.get())}) {
    auto* path = static_cast<xp_path*>(item.get());
    if (xp_path_is_file(path) == XP_OK) files[text_of(path).substr(cut)] = content_of(path);
  }
  return files;
}
