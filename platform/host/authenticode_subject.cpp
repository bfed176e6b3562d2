#include "platform/host/authenticode_subject.h"

#include <string.h>

namespace {

constexpr uint32_t MOST_DEPTH = 64;  // of storages in storages
constexpr uint16_t PKCS_SIGNED_DATA = 2;

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
  if (result == COMPOUND_OK) return TRUST_OK;
  return result == COMPOUND_NO_MEMORY ? TRUST_OUT_OF_MEMORY : TRUST_BAD_DIGEST;
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
  walk->bytes_left = package->size;
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
  if (stream->size > package->size) return COMPOUND_BROKEN;
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
  if (table.offset == 0 || table.size < 8) return TRUST_NO_SIGNATURE;
  if (table.offset > out->size || table.size > out->size - table.offset) return TRUST_NO_SIGNATURE;
  const uint8_t* at = out->bytes + table.offset;
  const uint32_t length = pe_dword(at);
  if (length < 8 || length > table.size || pe_word(at + 6) != PKCS_SIGNED_DATA)
    return TRUST_NO_SIGNATURE;
  return host_buffer_add(&out->signature, at + 8, length - 8) ? TRUST_OK : TRUST_OUT_OF_MEMORY;
}

// Everything but the checksum, the directory entry of the certificates and the certificates.
// Bytes behind the certificates count, so nothing can be appended unseen.
int32_t digest_program(const authenticode_subject* subject, EVP_MD_CTX* digest) {
  const pe_file* program = &subject->program;
  const pe_range table = pe_find_directory(program, PE_SECURITY);
  const uint32_t entry = program->directories + PE_SECURITY * 8;
  if (table.offset < entry + 8) return TRUST_BAD_DIGEST;
  const struct {
    size_t from, to;
  } parts[] = {{0, program->checksum},
               {program->checksum + 4, entry},
               {entry + 8, table.offset},
               {table.offset + size_t{table.size}, subject->size}};
  for (const auto& part : parts)
    EVP_DigestUpdate(digest, subject->bytes + part.from, part.to - part.from);
  return TRUST_OK;
}

}  // namespace

int32_t authenticode_open(const void* bytes, size_t size, authenticode_subject* out) {
  out->bytes = static_cast<const uint8_t*>(bytes);
  out->size = size;
  if (pe_open(bytes, size, &out->program)) return find_program_signature(out);
  const compound_result opened = compound_open(bytes, size, &out->package);
  if (opened == COMPOUND_NO_MEMORY) return TRUST_OUT_OF_MEMORY;
  if (opened != COMPOUND_OK) return TRUST_SUBJECT_UNKNOWN;
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
