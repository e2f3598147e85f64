#include "engine/zip/zip_package.h"

#include <minizip/unzip.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <limits>
#include <optional>
#include <unordered_map>

#include "engine/core/engine_error.h"
#include "engine/zip/little_endian.h"
#include "engine/zip/zip_member.h"
#include "engine/zip/zip_recovery.h"

namespace trfilter {
namespace {

constexpr unsigned long flag_encrypted = 1u << 0;
constexpr std::size_t usual_name_size = 256;
// A size of an entry that stands in its extra field.
constexpr ZPOS64_T in_zip64_field = 0xFFFFFFFF;

/// A member's name as it is compared.
std::string comparable(std::string_view name) {
  if (!name.empty() && (name.front() == '/' || name.front() == '\\')) name.remove_prefix(1);
  std::string result(name);
  for (char& c : result) {
    if (c == '\\') c = '/';
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

/// The sizes that stand in the zip64 extra field (APPNOTE 4.5.3), in the order of the fields that
/// have no room for them.
void read_zip64_sizes(std::string_view extra, unz_file_info64& info) {
  constexpr std::uint64_t zip64_field = 1;
  std::size_t at = 0;
  while (true) {
    const auto id = little_endian(extra, at, 2);
    const auto size = little_endian(extra, at + 2, 2);
    if (!id || !size) return;
    at += 4;
    if (*id == zip64_field) break;
    at += static_cast<std::size_t>(*size);
  }
  for (ZPOS64_T* field : {&info.uncompressed_size, &info.compressed_size}) {
    if (*field != in_zip64_field) continue;
    const auto value = little_endian(extra, at, 8);
    if (!value) return;
    *field = *value;
    at += 8;
  }
}

/// Local times are taken as UTC: the format does not say where they are local.
FileTime time_of(const tm_unz& date) {
  using std::chrono::day;
  using std::chrono::month;
  using std::chrono::year;
  const std::chrono::year_month_day calendar{year{static_cast<int>(date.tm_year)},
                                             month{static_cast<unsigned>(date.tm_mon) + 1},
                                             day{static_cast<unsigned>(date.tm_mday)}};
  constexpr uInt first_year = 1980;
  if (!calendar.ok() || date.tm_year <= first_year) return {};
  const auto time = std::chrono::sys_days{calendar}.time_since_epoch() +
                    std::chrono::hours{date.tm_hour} + std::chrono::minutes{date.tm_min} +
                    std::chrono::seconds{date.tm_sec};
  return FileTime::from_unix_seconds(std::chrono::seconds{time}.count());
}

/// The document as minizip reads it. What the document throws is kept for after the call.
class DocumentFile {
 public:
  explicit DocumentFile(Document& document) : document_(&document) {}

  zlib_filefunc64_def functions() {
    zlib_filefunc64_def table{};
    table.zopen64_file = [](voidpf opaque, const void*, int) { return opaque; };
    table.zread_file = [](voidpf opaque, voidpf, void* out, uLong count) {
      return static_cast<DocumentFile*>(opaque)->read(static_cast<char*>(out), count);
    };
    table.ztell64_file = [](voidpf opaque, voidpf) -> ZPOS64_T {
      return static_cast<DocumentFile*>(opaque)->at_;
    };
    table.zseek64_file = [](voidpf opaque, voidpf, ZPOS64_T offset, int origin) -> long {
      return static_cast<DocumentFile*>(opaque)->seek(offset, origin);
    };
    table.zclose_file = [](voidpf, voidpf) { return 0; };
    table.zerror_file = [](voidpf opaque, voidpf) {
      return static_cast<DocumentFile*>(opaque)->thrown_ ? 1 : 0;
    };
    table.opaque = this;
    return table;
  }

  void rethrow() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  uLong read(char* out, uLong count) noexcept {
    if (thrown_) return 0;
    try {
      const std::size_t got = document_->read_at(at_, {out, static_cast<std::size_t>(count)});
      at_ += got;
      return static_cast<uLong>(got);
    } catch (...) {
      thrown_ = std::current_exception();
      return 0;
    }
  }

  long seek(std::uint64_t offset, int origin) noexcept {
    std::uint64_t base = 0;
    if (origin == ZLIB_FILEFUNC_SEEK_CUR) base = at_;
    if (origin == ZLIB_FILEFUNC_SEEK_END) base = document_->size();
    at_ = base + offset;
    return 0;
  }

  Document* document_;
  std::uint64_t at_ = 0;
  std::exception_ptr thrown_;
};

}  // namespace

struct ZipPackage::State {
  State(Document& the_document, Limits& the_limits)
      : document(the_document), limits(the_limits), file(the_document) {}
  ~State() {
    if (zip != nullptr) unzClose(zip);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  struct Member {
    unz64_file_pos position{};          ///< in the directory
    std::optional<ZipMemberData> data;  ///< once located
    Stated stated;
  };

  void add(std::string name, const Member& member) {
    if (by_name.try_emplace(comparable(name), members.size()).second) {
      names.push_back(std::move(name));
      members.push_back(member);
    }
  }

  /// Puts the sizes of the current entry's extra field where the entry refers to it.
  int complete_sizes(unz_file_info64& info) {
    if (info.size_file_extra == 0 ||
        (info.uncompressed_size != in_zip64_field && info.compressed_size != in_zip64_field)) {
      return UNZ_OK;
    }
    std::string extra(info.size_file_extra, '\0');
    unz_file_info64 again{};
    const int status =
        unzGetCurrentFileInfo64(zip, &again, nullptr, 0, extra.data(), extra.size(), nullptr, 0);
    if (status == UNZ_OK) read_zip64_sizes(extra, info);
    return status;
  }

  /// @return whether the directory could be read to its end
  bool read_directory() {
    zlib_filefunc64_def functions = file.functions();
    zip = unzOpen2_64(nullptr, &functions);
    file.rethrow();
    if (zip == nullptr) return false;
    unz_global_info64 global{};
    if (unzGetGlobalInfo64(zip, &global) != UNZ_OK) return false;
    if (global.number_entry == 0) return true;
    std::string name;
    int status = unzGoToFirstFile(zip);
    while (status == UNZ_OK) {
      Member member;
      unz_file_info64 info{};
      name.resize(usual_name_size);
      status =
          unzGetCurrentFileInfo64(zip, &info, name.data(), name.size(), nullptr, 0, nullptr, 0);
      if (status == UNZ_OK && info.size_filename > name.size()) {
        name.resize(info.size_filename);
        status =
            unzGetCurrentFileInfo64(zip, &info, name.data(), name.size(), nullptr, 0, nullptr, 0);
      }
      if (status == UNZ_OK) status = unzGetFilePos64(zip, &member.position);
      if (status != UNZ_OK) break;
      name.resize(info.size_filename);
      if (complete_sizes(info) != UNZ_OK) break;
      constexpr auto most = static_cast<ZPOS64_T>(std::numeric_limits<std::int64_t>::max());
      member.stated.size = static_cast<std::int64_t>(std::min(info.uncompressed_size, most));
      member.stated.time = time_of(info.tmu_date);
      add(name, member);
      limits.check_time();
      status = unzGoToNextFile(zip);
    }
    file.rethrow();
    return status == UNZ_END_OF_LIST_OF_FILE;
  }

  void recover() {
    if (recovered) return;
    recovered = true;
    for (RecoveredZipMember& found : recover_zip_members(document, limits)) {
      const auto known = by_name.find(comparable(found.name));
      if (known == by_name.end()) {
        add(std::move(found.name), Member{{}, found.data, {}});
      } else if (!members[known->second].data) {
        members[known->second].data = found.data;
      }
    }
  }

  const ZipMemberData& locate(std::size_t index) {
    if (!members[index].data) members[index].data = located_by_directory(members[index]);
    if (!members[index].data) {
      recover();
      if (!members[index].data) throw EngineError(Code::corrupt, "a package's member is missing");
    }
    return *members[index].data;
  }

  /// @return none when no local header fits the directory's entry
  std::optional<ZipMemberData> located_by_directory(const Member& member) {
    unz_file_info64 info{};
    int status = unzGoToFilePos64(zip, &member.position);
    if (status == UNZ_OK) {
      status = unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0);
    }
    if (status == UNZ_OK) status = complete_sizes(info);
    file.rethrow();
    if (status != UNZ_OK) return std::nullopt;

    ZipMemberData data;
    data.size = info.compressed_size;
    data.method = static_cast<unsigned>(info.compression_method);
    data.encrypted = (info.flag & flag_encrypted) != 0;
    data.checksum = static_cast<std::uint32_t>(info.crc);
    if (data.encrypted ||
        (data.method != ZipMemberData::stored && data.method != ZipMemberData::deflated)) {
      return data;
    }
    int method = 0;
    status = unzOpenCurrentFile2(zip, &method, nullptr, 1);
    file.rethrow();
    if (status != UNZ_OK) return std::nullopt;
    data.offset = unzGetCurrentFileZStreamPos64(zip);
    unzCloseCurrentFile(zip);
    return data;
  }

  Document& document;
  Limits& limits;
  DocumentFile file;
  unzFile zip = nullptr;
  bool damaged = false;
  bool recovered = false;
  std::vector<std::string> names;
  std::vector<Member> members;  ///< in step with `names`
  std::unordered_map<std::string, std::size_t> by_name;
};

ZipPackage::ZipPackage(Document& document, Limits& limits)
    : state_(std::make_unique<State>(document, limits)) {
  if (!state_->read_directory()) {
    state_->damaged = true;
    state_->recover();
  }
  if (state_->members.empty()) throw EngineError(Code::corrupt, "a zip package without a member");
}

ZipPackage::~ZipPackage() = default;

bool ZipPackage::damaged() const {
  return state_->damaged;
}

const std::vector<std::string>& ZipPackage::names() const {
  return state_->names;
}

bool ZipPackage::contains(std::string_view name) const {
  return state_->by_name.contains(comparable(name));
}

ZipPackage::Stated ZipPackage::stated(std::string_view name) const {
  const auto found = state_->by_name.find(comparable(name));
  return found == state_->by_name.end() ? Stated{} : state_->members[found->second].stated;
}

std::unique_ptr<ZipPackage::Part> ZipPackage::open(std::string_view name) {
  const auto found = state_->by_name.find(comparable(name));
  if (found == state_->by_name.end()) return nullptr;
  return open_zip_member(state_->document, state_->limits, state_->locate(found->second));
}

std::string ZipPackage::read_all(std::string_view name, std::size_t most) {
  std::string result;
  const std::unique_ptr<Part> part = open(name);
  if (!part) return result;
  constexpr std::size_t piece = std::size_t{16} << 10;
  while (true) {
    const std::size_t before = result.size();
    result.resize(before + piece);
    const std::size_t count = part->read(std::span<char>(result).subspan(before));
    result.resize(before + count);
    if (count == 0) return result;
    if (result.size() > most) {
      throw EngineError(Code::corrupt, "a package's member is larger than its bound");
    }
  }
}

}  // namespace trfilter
