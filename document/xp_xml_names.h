// The vocabulary of an XML reader: a table of the element names it knows, in which a name is found
// with one multiplication and one comparison, however many there are.
#pragma once

#include <stddef.h>

#include "document/xp_xml.h"
#include "document/xp_xml_word.h"

// A name in a form that compares at once: its bytes without the bit that tells small letters from
// capitals, which no two bytes of names share otherwise. Exact up to 16 bytes; no name of a
// vocabulary is longer.
struct xp_xml_name {
  uint64_t head;  // the first 8 bytes or, of a shorter name, all of them
  uint64_t tail;  // the last 8 bytes of one that is longer
  uint32_t length;

  constexpr bool operator==(const xp_xml_name& other) const {
    return head == other.head && length == other.length && (length <= 8 || tail == other.tail);
  }
};

constexpr xp_xml_name xp_xml_name_of(const char* text, uint32_t length) {
  constexpr uint64_t FOLD = ~UINT64_C(0x2020202020202020);
  uint64_t head = 0;
  uint64_t tail = 0;
  if (length > 8) {
    head = xp_xml_load<uint64_t>(text);
    tail = xp_xml_load<uint64_t>(text + length - 8);
  } else if (length >= 4) {
    head = xp_xml_load<uint32_t>(text) |
           static_cast<uint64_t>(xp_xml_load<uint32_t>(text + length - 4)) << 32;
  } else if (length != 0) {
    // The first, the middle and the last byte are all of them.
    head = xp_xml_load<uint8_t>(text) |
           static_cast<uint64_t>(xp_xml_load<uint8_t>(text + length / 2)) << 8 |
           static_cast<uint64_t>(xp_xml_load<uint8_t>(text + length - 1)) << 16;
  }
  return {head & FOLD, tail & FOLD, length};
}

// The name of a literal.
template <uint32_t SIZE>
consteval xp_xml_name xp_xml_word(const char (&name)[SIZE]) {
  static_assert(SIZE - 1 <= 16);
  return xp_xml_name_of(name, SIZE - 1);
}

// Rows with an xp_xml_name `name`, and where each stands by the hash of its name.
template <class Row, size_t COUNT>
struct xp_xml_names {
  static constexpr uint32_t BITS = 6;

  Row rows[COUNT];
  uint64_t factor;            // of the hash, chosen so that no two rows share a slot
  uint8_t slots[1u << BITS];  // index + 1 of the row; 0 for none

  static constexpr size_t slot_of(const xp_xml_name& name, uint64_t factor) {
    return ((name.head ^ name.length) * factor) >> (64 - BITS);
  }

  // The row that has the name of `record`; null when there is none and for a null record.
  const Row* find(const xp_xml_record* record) const {
    if (!record) return nullptr;
    const xp_xml_name name = xp_xml_name_of(record->text, record->length);
    const uint8_t index = slots[slot_of(name, factor)];
    return index != 0 && rows[index - 1].name == name ? &rows[index - 1] : nullptr;
  }
};

template <class Row, size_t COUNT>
consteval xp_xml_names<Row, COUNT> xp_xml_names_of(const Row (&rows)[COUNT]) {
  xp_xml_names<Row, COUNT> names = {};
  for (size_t i = 0; i < COUNT; i++)
    names.rows[i] = rows[i];
  names.factor = UINT64_C(0x9E3779B97F4A7C15);
  for (size_t placed = 0; placed != COUNT; names.factor += UINT64_C(0x632BE59BD9B4E018)) {
    for (uint8_t& slot : names.slots)
      slot = 0;
    for (placed = 0; placed != COUNT; placed++) {
      uint8_t& slot = names.slots[names.slot_of(rows[placed].name, names.factor)];
      if (slot != 0) break;
      slot = static_cast<uint8_t>(placed + 1);
    }
    if (placed == COUNT) break;
  }
  return names;
}
