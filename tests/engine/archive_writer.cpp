#include "tests/engine/archive_writer.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <clocale>

namespace trfilter::test {

std::string write_archive(const char* format, const char* filter,
                          const std::vector<ArchiveMember>& members, const char* options,
                          const char* password) {
  // Names are UTF-8, whatever the tests' own locale is.
  static locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const locale_t before = ::uselocale(utf8);
  std::size_t room = std::size_t{4} << 20;
  for (const ArchiveMember& member : members) room += 2 * member.content.size();
  std::string bytes(room, '\0');
  std::size_t used = 0;
  archive* out = archive_write_new();
  EXPECT_EQ(archive_write_set_format_by_name(out, format), ARCHIVE_OK) << format;
  if (*filter != '\0') {
    EXPECT_EQ(archive_write_add_filter_by_name(out, filter), ARCHIVE_OK);
  }
  if (*options != '\0') {
    EXPECT_EQ(archive_write_set_options(out, options), ARCHIVE_OK);
  }
  if (*password != '\0') archive_write_set_passphrase(out, password);
  archive_write_set_bytes_per_block(out, 0);
  EXPECT_EQ(archive_write_open_memory(out, bytes.data(), bytes.size(), &used), ARCHIVE_OK);
  for (const ArchiveMember& member : members) {
    archive_entry* entry = archive_entry_new();
    archive_entry_set_pathname(entry, member.name.c_str());
    archive_entry_set_mtime(entry, member.time, 0);
    archive_entry_set_perm(entry, 0644);
    archive_entry_set_filetype(entry, AE_IFREG);
    archive_entry_set_size(entry, 0);
    const bool file = member.type == ArchiveMember::Type::file;
    if (file) archive_entry_set_size(entry, static_cast<la_int64_t>(member.content.size()));
    if (member.type == ArchiveMember::Type::folder) archive_entry_set_filetype(entry, AE_IFDIR);
    if (member.type == ArchiveMember::Type::fifo) archive_entry_set_filetype(entry, AE_IFIFO);
    if (member.type == ArchiveMember::Type::symbolic_link) {
      archive_entry_set_filetype(entry, AE_IFLNK);
      archive_entry_set_symlink(entry, member.content.c_str());
    }
    if (member.type == ArchiveMember::Type::hard_link) {
      archive_entry_set_hardlink(entry, member.content.c_str());
    }
    EXPECT_EQ(archive_write_header(out, entry), ARCHIVE_OK) << archive_error_string(out);
    if (file) archive_write_data(out, member.content.data(), member.content.size());
    archive_entry_free(entry);
  }
  EXPECT_EQ(archive_write_close(out), ARCHIVE_OK) << archive_error_string(out);
  archive_write_free(out);
  ::uselocale(before);
  bytes.resize(used);
  return bytes;
}

}  // namespace trfilter::test
