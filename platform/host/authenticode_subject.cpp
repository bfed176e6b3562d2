#include "platform/host/authenticode_subject.h"

#include <string.h>

namespace {

constexpr uint32_t MOST_DEPTH = 64;  // of storages in storages
constexpr uint16_t PKCS_SIGNED_DATA = 2;
constexpr size_t HEAD_SIZE = 65536;     // of a program, within which its headers lie
constexpr uint32_t PIECE_SIZE = 65536;  // of a file that is being digested

// Names of streams, UTF-16LE.
constexpr char16_t SIGNATURE_NAME[] = u"\5DigitalSignature";
constexpr char16_t EXTENDED_NAME[] = u"\5MsiDigitalSignatureEx";

// Class ids of packages, patches and transforms: {000C10xx-0000-0000-C000-000000000046}.
constexpr uint8_t PACKAGE_CLASSES[] = {0x84, 0x86, 0x82};
constexpr uint8_t PACKAGE_CLASS_REST[15] = {0x10, 0x0C, 0, 0, 0, 0, 0,   0xC0,
                                            0,    0,    0, 0, 0, 0, 0x46};

struct digest_context {
  EVP_MD_CTX* context;
  explicit digest_context(const EVP_MD* algorithm) : context(EVP_MD_CTX_new()) {
    if (context && !EVP_DigestInit_ex(context, algorithm, nullptr)) {
      EVP_MD_CTX_free(context);
      context = nullptr;
    }
  }
  digest_context(const digest_context&) = delete;
  digest_context& operator=(const digest_context&) = delete;
  ~digest_context() { EVP_MD_CTX_free(context); }
};

bool is_package_class(const uint8_t* class_id) {
  for (const uint8_t first : PACKAGE_CLASSES)
    if (class_id[0] == first && memcmp(class_id + 1, PACKAGE_CLASS_REST, 15) == 0) return true;
  return false;
}

bool named(const compound_entry* entry, const char16_t* name, size_t size_with_nul) {
  return entry->name_size == size_with_nul - 2 && memcmp(entry->name, name, entry->name_size) == 0;
}

bool is_signature(const compound_entry* entry) {
  return named(entry, SIGNATURE_NAME, sizeof SIGNATURE_NAME) ||
         named(entry, EXTENDED_NAME, sizeof EXTENDED_NAME);
}

int32_t as_trust(compound_result result) {
  switch (result) {
    case COMPOUND_OK:
      return TRUST_OK;
    case COMPOUND_UNREADABLE:
      return TRUST_FILE_ERROR;
    case COMPOUND_NO_MEMORY:
      return TRUST_OUT_OF_MEMORY;
    case COMPOUND_BROKEN:
      break;
  }
  return TRUST_BAD_DIGEST;
}

int32_t read_into_buffer(const host_source* source, uint64_t offset, size_t size,
                         host_buffer* out) {
  if (!host_buffer_reserve(out, size)) return TRUST_OUT_OF_MEMORY;
  if (!host_source_read(source, offset, out->bytes, size)) return TRUST_FILE_ERROR;
  out->length = size;
  out->bytes[size] = 0;
  return TRUST_OK;
}

bool take_into_buffer(void* buffer, const void* bytes, size_t size) {
  return host_buffer_add(static_cast<host_buffer*>(buffer), bytes, size);
}

bool take_into_digest(void* context, const void* bytes, size_t size) {
  EVP_DigestUpdate(static_cast<EVP_MD_CTX*>(context), bytes, size);
  return true;
}

// One walk over the package: which entries it has met, and how many bytes of streams it may
// still read. No two streams of an honest file share a sector, so all of them together are
// smaller than the file, and the walk takes linear time on any file.
struct package_walk {
  const compound_file* package;
  xp_block<uint8_t> seen;
  uint64_t bytes_left;
  EVP_MD_CTX* digest;
};

compound_result start_walk(const compound_file* package, package_walk* walk) {
  walk->package = package;
  walk->seen = xp_block<uint8_t>::of(package->entry_count);
  walk->bytes_left = package->source->size;
  return walk->seen ? COMPOUND_OK : COMPOUND_NO_MEMORY;
}

compound_result digest_stream(package_walk* walk, const compound_entry* stream) {
  if (stream->size > walk->bytes_left) return COMPOUND_BROKEN;
  walk->bytes_left -= stream->size;
  return compound_read(walk->package, stream, take_into_digest, walk->digest);
}

// What a record of the directory adds to the digest of the directory.
void digest_record(EVP_MD_CTX* digest, const compound_entry* entry) {
  const bool root = entry->kind == COMPOUND_ROOT;
  if (!root) EVP_DigestUpdate(digest, entry->name, entry->name_size);
  if (entry->kind == COMPOUND_STREAM)
    EVP_DigestUpdate(digest, entry->size_field, 4);
  else
    EVP_DigestUpdate(digest, entry->class_id, 16);
  EVP_DigestUpdate(digest, entry->state, 4);
  if (!root) EVP_DigestUpdate(digest, entry->times, 16);
}

// Goes through a storage in the order of names. With `records` the directory is digested, else
// the contents.
compound_result digest_storage(package_walk* walk, const compound_entry* storage, bool records,
                               uint32_t depth) {
  compound_children children;
  if (depth > MOST_DEPTH) return COMPOUND_BROKEN;
  compound_result result = compound_list(walk->package, storage, walk->seen.get(), &children);
  if (result != COMPOUND_OK) return result;
  if (records) digest_record(walk->digest, storage);
  for (uint32_t i = 0; i < children.count && result == COMPOUND_OK; i++) {
    compound_entry entry;
    if (!compound_read_entry(walk->package, children.index[i], &entry)) return COMPOUND_BROKEN;
    if (storage->kind == COMPOUND_ROOT && is_signature(&entry)) continue;
    if (entry.kind == COMPOUND_STORAGE)
      result = digest_storage(walk, &entry, records, depth + 1);
    else if (records)
      digest_record(walk->digest, &entry);
    else
      result = digest_stream(walk, &entry);
  }
  if (!records) EVP_DigestUpdate(walk->digest, storage->class_id, 16);
  return result;
}

compound_result digest_package(const compound_file* package, EVP_MD_CTX* digest, bool records) {
  package_walk walk = {.package = package, .seen = {}, .bytes_left = 0, .digest = digest};
  compound_entry root;
  const compound_result started = start_walk(package, &walk);
  if (started != COMPOUND_OK) return started;
  walk.seen[0] = 1;
  if (!compound_read_entry(package, 0, &root)) return COMPOUND_BROKEN;
  return digest_storage(&walk, &root, records, 0);
}

// Computes the digest of the directory, compares it with the one that the package carries, and
// begins the digest of the contents with it.
int32_t begin_with_records(const authenticode_subject* subject, const EVP_MD* algorithm,
                           EVP_MD_CTX* digest) {
  uint8_t found[EVP_MAX_MD_SIZE];
  digest_context records(algorithm);
  if (!records.context) return TRUST_OUT_OF_MEMORY;
  const compound_result result = digest_package(&subject->package, records.context, true);
  if (result != COMPOUND_OK) return as_trust(result);
  EVP_DigestFinal_ex(records.context, found, nullptr);
  const auto size = static_cast<size_t>(EVP_MD_get_size(algorithm));
  if (subject->extended.length != size || memcmp(subject->extended.bytes, found, size) != 0)
    return TRUST_BAD_DIGEST;
  EVP_DigestUpdate(digest, found, size);
  return TRUST_OK;
}

compound_result collect(const compound_file* package, const compound_entry* stream,
                        host_buffer* out) {
  if (stream->size > package->source->size) return COMPOUND_BROKEN;
  if (!host_buffer_reserve(out, static_cast<size_t>(stream->size))) return COMPOUND_NO_MEMORY;
  return compound_read(package, stream, take_into_buffer, out);
}

int32_t find_package_signature(authenticode_subject* out) {
  package_walk walk = {.package = nullptr, .seen = {}, .bytes_left = 0, .digest = nullptr};
  compound_children children;
  compound_entry root;
  compound_result result = start_walk(&out->package, &walk);
  if (result != COMPOUND_OK) return as_trust(result);
  if (!compound_read_entry(&out->package, 0, &root) || !is_package_class(root.class_id))
    return TRUST_SUBJECT_UNKNOWN;
  walk.seen[0] = 1;
  result = compound_list(&out->package, &root, walk.seen.get(), &children);
  bool found = false;
  for (uint32_t i = 0; i < children.count && result == COMPOUND_OK; i++) {
    compound_entry entry;
    if (!compound_read_entry(&out->package, children.index[i], &entry)) return TRUST_BAD_DIGEST;
    if (entry.kind != COMPOUND_STREAM) continue;
    if (named(&entry, SIGNATURE_NAME, sizeof SIGNATURE_NAME)) {
      found = true;
      result = collect(&out->package, &entry, &out->signature);
    } else if (named(&entry, EXTENDED_NAME, sizeof EXTENDED_NAME)) {
      out->has_extended = true;
      result = collect(&out->package, &entry, &out->extended);
    }
  }
  if (result != COMPOUND_OK) return as_trust(result);
  return found ? TRUST_OK : TRUST_NO_SIGNATURE;
}

// The table of certificates holds records of a length, a revision, a kind and the bytes. The
// first signature is the file's signature.
int32_t find_program_signature(authenticode_subject* out) {
  const pe_range table = pe_find_directory(&out->program, PE_SECURITY);
  const uint64_t size = out->source->size;
  uint8_t head[8];
  if (table.offset == 0 || table.size < sizeof head) return TRUST_NO_SIGNATURE;
  if (table.offset > size || table.size > size - table.offset) return TRUST_NO_SIGNATURE;
  if (!host_source_read(out->source, table.offset, head, sizeof head)) return TRUST_FILE_ERROR;
  const uint32_t length = pe_dword(head);
  if (length < sizeof head || length > table.size || pe_word(head + 6) != PKCS_SIGNED_DATA)
    return TRUST_NO_SIGNATURE;
  return read_into_buffer(out->source, table.offset + sizeof head, length - sizeof head,
                          &out->signature);
}

int32_t digest_range(const host_source* source, uint64_t from, uint64_t to, uint8_t* piece,
                     EVP_MD_CTX* digest) {
  while (from < to) {
    const size_t size = static_cast<size_t>(to - from < PIECE_SIZE ? to - from : PIECE_SIZE);
    if (!host_source_read(source, from, piece, size)) return TRUST_FILE_ERROR;
    EVP_DigestUpdate(digest, piece, size);
    from += size;
  }
  return TRUST_OK;
}

// Everything but the checksum, the directory entry of the certificates and the certificates.
// Bytes behind the certificates count, so nothing can be appended unseen.
int32_t digest_program(const authenticode_subject* subject, EVP_MD_CTX* digest) {
  const pe_file* program = &subject->program;
  const pe_range table = pe_find_directory(program, PE_SECURITY);
  const uint32_t entry = program->directories + PE_SECURITY * 8;
  if (table.offset < entry + 8) return TRUST_BAD_DIGEST;
  const auto piece = xp_block<uint8_t>::of(PIECE_SIZE);
  if (!piece) return TRUST_OUT_OF_MEMORY;
  const struct {
    uint64_t from, to;
  } parts[] = {{0, program->checksum},
               {program->checksum + 4, entry},
               {entry + 8, table.offset},
               {table.offset + uint64_t{table.size}, subject->source->size}};
  for (const auto& part : parts) {
    const int32_t result = digest_range(subject->source, part.from, part.to, piece.get(), digest);
    if (result != TRUST_OK) return result;
  }
  return TRUST_OK;
}

// Whether the file begins as a program does and its headers can be read.
int32_t open_program(authenticode_subject* out) {
  char mark[2];
  const size_t size =
      static_cast<size_t>(out->source->size < HEAD_SIZE ? out->source->size : HEAD_SIZE);
  if (size < sizeof mark) return TRUST_SUBJECT_UNKNOWN;
  if (!host_source_read(out->source, 0, mark, sizeof mark)) return TRUST_FILE_ERROR;
  if (memcmp(mark, "MZ", sizeof mark) != 0) return TRUST_SUBJECT_UNKNOWN;
  const int32_t result = read_into_buffer(out->source, 0, size, &out->head);
  if (result != TRUST_OK) return result;
  return pe_open(out->head.bytes, out->head.length, &out->program) ? TRUST_OK
                                                                   : TRUST_SUBJECT_UNKNOWN;
}

}  // namespace

int32_t authenticode_open(const host_source* source, authenticode_subject* out) {
  out->source = source;
  const int32_t program = open_program(out);
  if (program == TRUST_OK) return find_program_signature(out);
  if (program != TRUST_SUBJECT_UNKNOWN) return program;
  const compound_result opened = compound_open(source, &out->package);
  if (opened == COMPOUND_BROKEN) return TRUST_SUBJECT_UNKNOWN;
  if (opened != COMPOUND_OK) return as_trust(opened);
  out->is_package = true;
  return find_package_signature(out);
}

int32_t authenticode_digest(const authenticode_subject* subject, const EVP_MD* algorithm,
                            uint8_t out[EVP_MAX_MD_SIZE]) {
  digest_context digest(algorithm);
  if (!digest.context) return TRUST_OUT_OF_MEMORY;
  int32_t result = TRUST_OK;
  if (!subject->is_package) {
    result = digest_program(subject, digest.context);
  } else {
    if (subject->has_extended) result = begin_with_records(subject, algorithm, digest.context);
    if (result == TRUST_OK)
      result = as_trust(digest_package(&subject->package, digest.context, false));
  }
  if (result == TRUST_OK) EVP_DigestFinal_ex(digest.context, out, nullptr);
  return result;
}
