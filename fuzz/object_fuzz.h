// What the fuzz targets of objects and documents share.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <vector>

#include "document/xp_plst.h"
#include "document/xp_plst_builder.h"
#include "document/xp_writer.h"
#include "object/xp_ref.h"

// A NUL-terminated copy of the input in a block of its own, so that a read beyond it is seen.
inline std::vector<char> text_of_input(const uint8_t* bytes, size_t size) {
  std::vector<char> text(bytes, bytes + size);
  text.push_back(0);
  return text;
}

// Writes a document: what is measured is written, and a buffer that is too small is kept to.
inline std::vector<char> written_document(xp_plst* document, uint32_t cut_to) {
  const int32_t length = document->render(document, nullptr, 0);
  if (length < 0) abort();
  std::vector<char> text(static_cast<size_t>(length) + 1);
  if (document->render(document, text.data(), static_cast<uint32_t>(text.size())) != length)
    abort();
  const std::unique_ptr<char[]> cut(new char[cut_to]);  // a null buffer would measure
  const int32_t shown = document->render(document, cut.get(), cut_to);
  if (shown < 0 || static_cast<uint32_t>(shown) > cut_to) abort();
  return text;
}

// Runs a reader of texts, and writes what it made in a style.
inline int fuzz_reader(xp_plst_reader reader, const xp_style* style, const uint8_t* bytes,
                       size_t size) {
  const std::vector<char> text = text_of_input(bytes, size);
  xp_plst_builder builder = {};
  const int32_t result = reader(text.data(), &builder);
  if (result > 0) abort();
  xp_ref document(xp_plst_new(builder.result, style));
  if (document) (void)written_document(document.get(), static_cast<uint32_t>(size));
  xp_plst_builder_clear(&builder);
  return 0;
}
