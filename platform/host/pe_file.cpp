#include "platform/host/pe_file.h"

#include <string.h>

namespace {

constexpr uint32_t COFF_SIZE = 24;  // signature and file header
constexpr uint32_t SECTION_SIZE = 40;
constexpr uint32_t NAMED = 0x80000000;  // of a resource entry: the id is a name
constexpr uint32_t SUBFOLDER = 0x80000000;
constexpr uint32_t FIXED_INFO = 0xFEEF04BD;

bool inside(const pe_file* file, uint64_t offset, uint64_t size) {
  return offset <= file->size && size <= file->size - offset;
}

// The bytes at a virtual address, with at least `size` of them in the file; null otherwise.
const uint8_t* at_address(const pe_file* file, uint32_t address, uint32_t size) {
  for (uint32_t i = 0; i < file->section_count; i++) {
    const uint8_t* section = file->bytes + file->sections + i * SECTION_SIZE;
    const uint32_t start = pe_dword(section + 12);
    const uint32_t raw_size = pe_dword(section + 16);
    if (address < start || address - start > raw_size || size > raw_size - (address - start))
      continue;
    const uint64_t offset = static_cast<uint64_t>(pe_dword(section + 20)) + (address - start);
    return inside(file, offset, size) ? file->bytes + offset : nullptr;
  }
  return nullptr;
}

// The target of an entry of a resource folder: the one of that id, or the first for id 0.
bool find_entry(const pe_file* file, uint32_t root, uint32_t folder, uint32_t id,
                uint32_t* target) {
  const uint8_t* head = at_address(file, root + folder, 16);
  if (!head) return false;
  const uint32_t count = pe_word(head + 12) + static_cast<uint32_t>(pe_word(head + 14));
  const uint8_t* entries = at_address(file, root + folder + 16, count * 8);
  if (!entries) return false;
  for (uint32_t i = 0; i < count; i++) {
    const uint32_t entry_id = pe_dword(entries + i * 8);
    if (id != 0 && ((entry_id & NAMED) || entry_id != id)) continue;
    *target = pe_dword(entries + i * 8 + 4);
    return true;
  }
  return false;
}

}  // namespace

uint16_t pe_word(const uint8_t* at) {
  return static_cast<uint16_t>(at[0] | at[1] << 8);
}

uint32_t pe_dword(const uint8_t* at) {
  return pe_word(at) | static_cast<uint32_t>(pe_word(at + 2)) << 16;
}

bool pe_open(const void* bytes, size_t size, pe_file* out) {
  *out = {};
  out->bytes = static_cast<const uint8_t*>(bytes);
  out->size = size;
  if (!inside(out, 0, 64) || memcmp(out->bytes, "MZ", 2) != 0) return false;
  const uint32_t header = pe_dword(out->bytes + 60);
  if (!inside(out, header, COFF_SIZE) || memcmp(out->bytes + header, "PE\0\0", 4) != 0)
    return false;
  const uint32_t optional_size = pe_word(out->bytes + header + 20);
  out->optional = header + COFF_SIZE;
  out->checksum = out->optional + 64;
  if (optional_size < 96 || !inside(out, out->optional, optional_size)) return false;
  const uint16_t magic = pe_word(out->bytes + out->optional);
  if (magic != 0x10B && magic != 0x20B) return false;
  const uint32_t fixed = magic == 0x20B ? 112 : 96;  // what stands before the directories
  if (optional_size < fixed) return false;
  out->directories = out->optional + fixed;
  out->directory_count = pe_dword(out->bytes + out->directories - 4);
  const uint32_t fits = (optional_size - fixed) / 8;
  if (out->directory_count > fits) out->directory_count = fits;
  out->sections = out->optional + optional_size;
  out->section_count = pe_word(out->bytes + header + 6);
  return inside(out, out->sections, static_cast<uint64_t>(out->section_count) * SECTION_SIZE);
}

pe_range pe_find_directory(const pe_file* file, pe_directory which) {
  if (which >= file->directory_count) return {0, 0};
  const uint8_t* entry = file->bytes + file->directories + which * 8;
  return {pe_dword(entry), pe_dword(entry + 4)};
}

const uint8_t* pe_find_resource(const pe_file* file, uint32_t type, uint32_t id, uint32_t* size) {
  const pe_range root = pe_find_directory(file, PE_RESOURCES);
  uint32_t target;
  if (root.offset == 0) return nullptr;
  if (!find_entry(file, root.offset, 0, type, &target) || !(target & SUBFOLDER)) return nullptr;
  if (!find_entry(file, root.offset, target & ~SUBFOLDER, id, &target) || !(target & SUBFOLDER))
    return nullptr;
  if (!find_entry(file, root.offset, target & ~SUBFOLDER, 0, &target) || (target & SUBFOLDER))
    return nullptr;
  const uint8_t* leaf = at_address(file, root.offset + target, 16);
  if (!leaf) return nullptr;
  *size = pe_dword(leaf + 4);
  return at_address(file, pe_dword(leaf), *size);
}

bool pe_file_version(const pe_file* file, uint16_t out[4]) {
  // length, value length, kind, "VS_VERSION_INFO" with its NUL, padding to 40 bytes
  constexpr uint32_t FIXED_OFFSET = 40;
  uint32_t size = 0;
  const uint8_t* info = pe_find_resource(file, 16, 1, &size);
  if (!info || size < FIXED_OFFSET + 52 || pe_dword(info + FIXED_OFFSET) != FIXED_INFO)
    return false;
  const uint8_t* version = info + FIXED_OFFSET + 8;
  out[0] = pe_word(version + 2);
  out[1] = pe_word(version);
  out[2] = pe_word(version + 6);
  out[3] = pe_word(version + 4);
  return true;
}
