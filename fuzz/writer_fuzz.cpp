// Any document in any style. The first byte chooses the style (none: the document's own), the
// second the size that the text is cut to. JSON and property lists that were written read back.
#include "fuzz/object_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static const xp_style* const styles[] = {&xp_style_plist,    &xp_style_json, &xp_style_json_lines,
                                           &xp_style_sections, &xp_style_form, &xp_style_rules,
                                           &xp_style_rpc,      &xp_style_list};
  if (size < 2) return 0;
  const std::vector<char> text = text_of_input(bytes + 2, size - 2);
  xp_ref read(xp_plst_parse(text.data()));
  if (!read) return 0;
  const size_t choice = bytes[0] % 9;
  const xp_style* style = choice < 8 ? styles[choice] : read->style;
  xp_ref document(xp_plst_new(read->root, style));
  const std::vector<char> written = written_document(document.get(), bytes[1]);
  xp_ref again(xp_plst_parse(written.data()));
  if (again) (void)written_document(again.get(), bytes[1]);
  return 0;
}
