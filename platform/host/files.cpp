// Files and folders by POSIX calls, with the sharing rules of Windows.
//
// Sharing: Windows lets an open say what others may do meanwhile. Here each open puts shared locks
// on bytes far beyond any content, one byte for each thing that it does or forbids, and then looks
// whether another open holds the opposite. The locks belong to the open file description (F_OFD_*),
// so they hold between two opens of one process as well as between processes, and they end with
// it, also when the process is killed. Where the file system has no locks there is no rule.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/host/host.h"
#include "platform/host/machine.h"

namespace {

// The named calls retry when a signal interrupts them; nothing was done then.
template <class Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR)
    result = call();
  return result;
}

xp_file_status last_status() {
  return host_file_status(errno);
}

// ---- sharing ---------------------------------------------------------------------------------

enum share_byte : uint32_t { READS, WRITES, FORBIDS_READING, FORBIDS_WRITING, SHARE_BYTES };
constexpr off_t SHARE_START = off_t{1} << 62;

struct flock share_lock(short type, uint32_t byte, off_t count) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = SHARE_START + static_cast<off_t>(byte);
  lock.l_len = count;
  return lock;
}

void claim(int file, share_byte byte) {
  struct flock lock = share_lock(F_RDLCK, byte, 1);
  // A file system without locks has no sharing rules.
  (void)fcntl(file, F_OFD_SETLK, &lock);
}

// Whether another open holds one of `count` bytes.
bool is_claimed(int file, uint32_t byte, off_t count) {
  struct flock lock = share_lock(F_WRLCK, byte, count);
  return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// Two opens that come at the same moment may both be refused; never are both let in.
bool share(int file, uint32_t access, uint32_t allowed) {
  const struct {
    bool claims;       // what this open does or forbids
    share_byte byte;   // is told to others here
    share_byte other;  // and can't be while another open holds this
  } rules[] = {
      {(access & XP_FILE_READ) != 0, READS, FORBIDS_READING},
      {(access & XP_FILE_WRITE) != 0, WRITES, FORBIDS_WRITING},
      {!(allowed & XP_FILE_SHARE_READ), FORBIDS_READING, READS},
      {!(allowed & XP_FILE_SHARE_WRITE), FORBIDS_WRITING, WRITES},
  };
  for (const auto& rule : rules)
    if (rule.claims) claim(file, rule.byte);
  for (const auto& rule : rules)
    if (rule.claims && is_claimed(file, rule.other, 1)) return false;
  return true;
}

// A file that is open anywhere can't be deleted.
bool is_in_use(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY);
  if (file < 0) return false;
  const bool used = is_claimed(file, READS, SHARE_BYTES);
  close(file);
  return used;
}

// ---- open files ------------------------------------------------------------------------------

int descriptor(xp_file_handle file) {
  return static_cast<int>(file);
}

// With a standard handle closed, a new file would take its number, and the usage text its place.
int above_standard(int file) {
  if (file < 0 || file > STDERR_FILENO) return file;
  const int moved = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  close(file);
  errno = error;
  return moved;
}

int open_flags(uint32_t access, xp_file_disposition disposition) {
  // O_NONBLOCK: opening a pipe without a writer must not wait; see let_wait.
  int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if (access == XP_FILE_QUERY)
    flags |= O_PATH;
  else
    flags |= access & XP_FILE_WRITE ? O_RDWR : O_RDONLY;  // locks need the right to read
  if (disposition == XP_FILE_CREATE_NEW) flags |= O_CREAT | O_EXCL;
  return flags;
}

// Reads and writes wait for data again.
void let_wait(int file) {
  const int flags = fcntl(file, F_GETFL);
  if (flags >= 0) (void)fcntl(file, F_SETFL, flags & ~O_NONBLOCK);
}

xp_file_status admit(int file, uint32_t access, uint32_t allowed) {
  struct stat facts;
  if (fstat(file, &facts) != 0) return last_status();
  if (S_ISDIR(facts.st_mode)) return XP_FILE_DENIED;
  if (access == XP_FILE_QUERY) return XP_FILE_OK;
  let_wait(file);
  return share(file, access, allowed) ? XP_FILE_OK : XP_FILE_SHARING;
}

xp_file_status host_open(const char16_t* path, uint32_t access, uint32_t allowed,
                         xp_file_disposition disposition, xp_file_handle* out) {
  host_ignore_write_signals();
  char native[HOST_PATH_SIZE];
  xp_file_status status = host_native_path(path, native, sizeof(native));
  if (status != XP_FILE_OK) return status;
  const int flags = open_flags(access, disposition);
  const int file = above_standard(uninterrupted([&] { return open(native, flags, 0666); }));
  if (file < 0) return last_status();
  status = admit(file, access, allowed);
  if (status == XP_FILE_OK)
    *out = file;
  else
    close(file);
  return status;
}

xp_file_status host_read(xp_file_handle file, void* buffer, uint32_t length, uint32_t* done) {
  const ssize_t got = uninterrupted([&] { return read(descriptor(file), buffer, length); });
  *done = got > 0 ? static_cast<uint32_t>(got) : 0;
  return got < 0 ? last_status() : XP_FILE_OK;
}

xp_file_status host_write(xp_file_handle file, const void* bytes, uint32_t length, uint32_t* done) {
  const auto* from = static_cast<const char*>(bytes);
  *done = 0;
  // A write may stop short where a device is nearly full; the next one says why.
  while (*done < length) {
    const ssize_t put =
        uninterrupted([&] { return write(descriptor(file), from + *done, length - *done); });
    if (put < 0) return last_status();
    if (put == 0) return XP_FILE_FULL;
    *done += static_cast<uint32_t>(put);
  }
  return XP_FILE_OK;
}

xp_file_status host_seek(xp_file_handle file, int64_t distance, xp_file_origin origin,
                         int64_t* out) {
  static constexpr int origins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  const off_t position = lseek(descriptor(file), distance, origins[origin]);
  if (position < 0) return last_status();
  if (out) *out = position;
  return XP_FILE_OK;
}

xp_file_status host_truncate(xp_file_handle file) {
  const off_t position = lseek(descriptor(file), 0, SEEK_CUR);
  if (position < 0) return last_status();
  return uninterrupted([&] { return ftruncate(descriptor(file), position); }) < 0 ? last_status()
                                                                                  : XP_FILE_OK;
}

xp_file_status host_flush(xp_file_handle file) {
  if (uninterrupted([&] { return fsync(descriptor(file)); }) == 0) return XP_FILE_OK;
  // Pipes and devices have nothing to sync.
  return errno == EINVAL || errno == EROFS ? XP_FILE_OK : last_status();
}

void host_close(xp_file_handle file) {
  close(descriptor(file));
}

// ---- entries ---------------------------------------------------------------------------------

xp_file_status host_remove(const char16_t* path) {
  char native[HOST_PATH_SIZE];
  const xp_file_status status = host_native_path(path, native, sizeof(native));
  if (status != XP_FILE_OK) return status;
  if (is_in_use(native)) return XP_FILE_SHARING;
  return unlink(native) == 0 ? XP_FILE_OK : last_status();
}

xp_file_status host_make_folder(const char16_t* path) {
  char native[HOST_PATH_SIZE];
  const xp_file_status status = host_native_path(path, native, sizeof(native));
  if (status != XP_FILE_OK) return status;
  return mkdir(native, 0777) == 0 ? XP_FILE_OK : last_status();
}

// ---- finding ---------------------------------------------------------------------------------

constexpr uint32_t NAME_UNITS = sizeof(xp_find_entry::name) / sizeof(char16_t);

// A search for one name: what there is to find has been found.
constexpr xp_find_handle SINGLE_NAME = 1;

// A search by pattern.
struct folder_search {
  DIR* entries;
  bool ignore_case;
  char16_t pattern[NAME_UNITS];
};

folder_search* as_search(xp_find_handle find) {
  return reinterpret_cast<folder_search*>(find);  // NOLINT(performance-no-int-to-ptr)
}

bool has_wildcard(const char16_t* name) {
  while (*name && *name != u'*' && *name != u'?')
    name++;
  return *name != 0;
}

// Fills `entry` from the file `name` in the open folder `at` (or AT_FDCWD). A name that Windows
// can't write, and an entry that has just gone, gives false with errno set.
bool describe(int at, const char* file, const char* name, xp_find_entry* entry) {
  struct stat facts;
  if (fstatat(at, file, &facts, AT_SYMLINK_NOFOLLOW) != 0) return false;
  uint32_t attributes = 0;
  if (S_ISLNK(facts.st_mode)) {
    attributes = XP_FIND_REPARSE;
    // A link that leads nowhere is a file.
    if (fstatat(at, file, &facts, 0) != 0) facts.st_mode = S_IFREG;
  }
  if (S_ISDIR(facts.st_mode)) attributes |= XP_FIND_FOLDER;
  *entry = {.attributes = attributes, .name = {}, .short_name = {}};
  const int32_t units = host_text.to_wide(name, -1, entry->name, NAME_UNITS);
  errno = ENOENT;
  return units > 0 && !strchr(name, '\\');
}

char16_t fold(char16_t unit, bool ignore_case) {
  return ignore_case && unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
}

// "*" is any run, "?" any one unit. Only the last "*" is tried again, so the time is bounded by
// the product of the lengths.
bool matches(const char16_t* name, const char16_t* pattern, bool ignore_case) {
  const char16_t* star = nullptr;
  const char16_t* retry = nullptr;
  while (*name) {
    if (*pattern == u'*') {
      star = ++pattern;
      retry = name;
    } else if (*pattern == u'?' ||
               (*pattern && fold(*pattern, ignore_case) == fold(*name, ignore_case))) {
      pattern++;
      name++;
    } else if (star) {
      pattern = star;
      name = ++retry;
    } else {
      return false;
    }
  }
  while (*pattern == u'*')
    pattern++;
  return !*pattern;
}

xp_file_status next_entry(folder_search* search, xp_find_entry* entry) {
  for (;;) {
    errno = 0;
    const dirent* next = readdir(search->entries);
    if (!next) return errno ? last_status() : XP_FILE_END;
    if (describe(dirfd(search->entries), next->d_name, next->d_name, entry) &&
        matches(entry->name, search->pattern, search->ignore_case))
      return XP_FILE_OK;
  }
}

void end_search(folder_search* search) {
  if (search->entries) closedir(search->entries);
  free(search);
}

xp_file_status host_find_next(xp_find_handle find, xp_find_entry* entry) {
  return find == SINGLE_NAME ? XP_FILE_END : next_entry(as_search(find), entry);
}

void host_find_close(xp_find_handle find) {
  if (find != SINGLE_NAME && find) end_search(as_search(find));
}

xp_file_status find_name(const char16_t* path, xp_find_entry* entry, xp_find_handle* out) {
  char native[HOST_PATH_SIZE];
  const xp_file_status status = host_native_path(path, native, sizeof(native));
  if (status != XP_FILE_OK) return status;
  if (!describe(AT_FDCWD, native, strrchr(native, '/') + 1, entry)) return last_status();
  *out = SINGLE_NAME;
  return XP_FILE_OK;
}

// `folder` ends in a backslash.
xp_file_status find_pattern(const char16_t* folder, const char16_t* pattern, xp_find_entry* entry,
                            xp_find_handle* out) {
  char native[HOST_PATH_SIZE];
  xp_file_status status = host_native_path(folder, native, sizeof(native));
  if (status != XP_FILE_OK) return status;
  auto* search = static_cast<folder_search*>(calloc(1, sizeof(folder_search)));
  if (!search) return XP_FILE_OUT_OF_MEMORY;
  // Only Z: knows capitals from small letters; there "*.*" keeps its old meaning, too: anything.
  search->ignore_case = (folder[0] | 0x20) != u'z';
  for (uint32_t i = 0; pattern[i]; i++)
    search->pattern[i] = pattern[i];
  if (memcmp(pattern, u"*.*", sizeof(u"*.*")) == 0) search->pattern[1] = 0;
  search->entries = opendir(native);
  status = search->entries ? next_entry(search, entry) : last_status();
  if (status == XP_FILE_OK)
    *out = reinterpret_cast<xp_find_handle>(search);
  else
    end_search(search);
  return status == XP_FILE_END ? XP_FILE_NOT_FOUND : status;
}

xp_file_status host_find_first(const char16_t* pattern, xp_find_entry* entry, xp_find_handle* out) {
  char16_t full[HOST_WIDE_SIZE];
  const uint32_t length = host_full_path(pattern, full, HOST_WIDE_SIZE);
  if (length == 0 || length >= HOST_WIDE_SIZE) return XP_FILE_BAD_NAME;
  uint32_t leaf = length;
  while (leaf > 0 && full[leaf - 1] != u'\\')
    leaf--;
  // A root and a folder with a separator behind it are no entries of anything.
  if (leaf == length || leaf == 0) return XP_FILE_NOT_FOUND;
  if (!has_wildcard(full + leaf)) return find_name(full, entry, out);
  char16_t name[NAME_UNITS] = {};
  if (length - leaf >= NAME_UNITS) return XP_FILE_BAD_NAME;
  memcpy(name, full + leaf, (length - leaf) * sizeof(char16_t));
  full[leaf] = 0;
  return find_pattern(full, name, entry, out);
}

// ---- temporary files -------------------------------------------------------------------------

constexpr char16_t TEMP_FOLDER[] = u"C:\\Windows\\Temp\\";
constexpr uint32_t TEMP_FOLDER_UNITS = sizeof(TEMP_FOLDER) / sizeof(char16_t) - 1;

uint32_t host_temp_folder(char16_t* out, uint32_t capacity) {
  if (!out || capacity <= TEMP_FOLDER_UNITS) return TEMP_FOLDER_UNITS + 1;
  memcpy(out, TEMP_FOLDER, sizeof(TEMP_FOLDER));
  return TEMP_FOLDER_UNITS;
}

// The name of number `number`: folder, prefix, four hexadecimal digits, ".tmp".
void write_temp_name(char16_t* at, const char16_t* prefix, uint32_t number) {
  for (int i = 0; i < 3; i++)
    *at++ = prefix[i];
  for (int shift = 12; shift >= 0; shift -= 4)
    *at++ = u"0123456789ABCDEF"[number >> shift & 15];
  memcpy(at, u".tmp", sizeof(u".tmp"));
}

xp_file_status host_temp_name(const char16_t* folder, const char16_t* prefix, char16_t* out) {
  constexpr uint32_t name_units = 3 + 4 + 4;
  uint32_t length = 0;
  while (folder[length])
    length++;
  if (length + 1 + name_units >= NAME_UNITS) return XP_FILE_BAD_NAME;
  memcpy(out, folder, length * sizeof(char16_t));
  if (length == 0 || out[length - 1] != u'\\') out[length++] = u'\\';
  uint16_t number = 0;
  // Where the search starts decides nothing but how long it takes.
  (void)!getrandom(&number, sizeof(number), GRND_NONBLOCK);
  xp_file_status status = XP_FILE_EXISTS;
  for (uint32_t tries = 0; tries <= UINT16_MAX && status == XP_FILE_EXISTS; tries++) {
    xp_file_handle file = 0;
    write_temp_name(out + length, prefix, number++);
    status = host_open(out, XP_FILE_READ, XP_FILE_SHARE_READ, XP_FILE_CREATE_NEW, &file);
    if (status == XP_FILE_OK) host_close(file);
  }
  return status;
}

}  // namespace

constinit const xp_file_ops host_files = {.open = host_open,
                                          .read = host_read,
                                          .write = host_write,
                                          .seek = host_seek,
                                          .truncate = host_truncate,
                                          .flush = host_flush,
                                          .close = host_close,
                                          .remove = host_remove,
                                          .make_folder = host_make_folder,
                                          .find_first = host_find_first,
                                          .find_next = host_find_next,
                                          .find_close = host_find_close,
                                          .from_native = host_from_native,
                                          .full_path = host_full_path,
                                          .temp_folder = host_temp_folder,
                                          .temp_name = host_temp_name};
