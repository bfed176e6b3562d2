// A Windows program file on a drive of the machine: what its headers say, read with care. Layout:
// Microsoft's "PE Format".
#pragma once

#include <stddef.h>
#include <stdint.h>

struct pe_file {
  const uint8_t* bytes;
  size_t size;
  uint32_t optional;         // offset of the optional header
  uint32_t checksum;         // offset of its CheckSum field
  uint32_t directories;      // offset of the first data directory
  uint32_t directory_count;  // how many lie inside the file
  uint32_t sections;         // offset of the section table
  uint32_t section_count;
};

enum pe_directory : uint32_t { PE_RESOURCES = 2, PE_SECURITY = 4 };

struct pe_range {
  uint32_t offset;  // virtual address; for PE_SECURITY the offset in the file
  uint32_t size;
};

// Reads the headers. False when the bytes are no program file of 32 or 64 bits.
bool pe_open(const void* bytes, size_t size, pe_file* out);
// An entry of the data directory; 0 and 0 where there is none.
pe_range pe_find_directory(const pe_file* file, pe_directory which);
// The bytes of a resource by type and id (1 of 16 is the version), any language. Null when there
// is none.
const uint8_t* pe_find_resource(const pe_file* file, uint32_t type, uint32_t id, uint32_t* size);
// The four words of the fixed file version, from the version resource. False without one.
bool pe_file_version(const pe_file* file, uint16_t out[4]);

// Little-endian numbers at any place of a file.
uint16_t pe_word(const uint8_t* at);
uint32_t pe_dword(const uint8_t* at);
