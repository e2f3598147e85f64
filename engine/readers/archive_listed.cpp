// Archives that libarchive walks through. One pass lists the members; another extracts them, as
// long as they are asked for in their order. Going back begins again, but for tar and cpio files:
// those are entered at any member's header. In 7z and rar archives members lie compressed together:
// when somebody goes back, those that are passed over on the new way are kept.

#include "engine/readers/archive_listed.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "engine/core/engine_error.h"
#include "engine/core/kept_bytes.h"
#include "engine/members/member_list.h"
#include "engine/readers/archive_subfiles.h"

namespace trfilter {
namespace {

using Kind = LibraryArchive::Kind;
using Header = LibraryArchive::Header;

constexpr std::uint8_t mark_link = 1;
constexpr std::uint8_t mark_special = 2;
constexpr std::uint8_t mark_encrypted = 4;

class ListedArchive final : public Subfiles {
 public:
  ListedArchive(const ReaderContext& context, Kind kind, ArchiveSource source)
      : context_(context),
        kind_(kind),
        source_(std::move(source)),
        meter_(context.limits),
        list_(context.options, context.limits),
        kept_(context.options.temporary_directory),
        may_keep_(kind == Kind::seven_zip || kind == Kind::rar) {
    enters_anywhere_ = kind == Kind::tar || kind == Kind::cpio;
    try {
      begin_pass(0, 0);
      while (advance()) add_member();
      if (archive_->damaged()) {
        throw EngineError(Code::archive_broken, "a header in the archive is damaged");
      }
    } catch (const EngineError& error) {
      const bool fatal = error.code() == Code::timed_out || error.code() == Code::out_of_memory;
      if (list_.size() == 0 || fatal) throw;
      end_.break_off();
    }
    list_.finish();
    archive_.reset();
  }

  std::size_t count() const override { return list_.size() + (end_.broken_off() ? 1 : 0); }

  Subfile describe(std::size_t index) override {
    if (index >= list_.size()) end_.rethrow();
    return list_.describe(index);
  }

  Extraction extract(std::size_t index, ByteOutput& output, bool /*formatted_mail*/) override {
    if (index >= list_.size()) end_.rethrow();
    const std::uint8_t marks = list_.marks(index);
    if ((marks & mark_encrypted) != 0) {
      throw EngineError(Code::password_protected,
                        "the member is encrypted in a way that cannot be decrypted");
    }
    if (list_.is_folder(index) || (marks & mark_special) != 0) return {};
    if (is_kept(index)) return extract_kept(index, output);
    try {
      go_to(index);
      if ((marks & mark_link) != 0) {
        return {.external = true, .location = list_.decoded(archive_->header().link_target)};
      }
      copy(output);
    } catch (...) {
      // What libarchive can do after an error depends on the format; a new pass always works.
      archive_.reset();
      throw;
    }
    return {};
  }

 private:
  void begin_pass(std::uint64_t offset, std::size_t index) {
    archive_.reset();
    meter_.restart();
    archive_ = std::make_unique<LibraryArchive>(source_.open(offset), &meter_);
    next_ = index;
    archive_->open(kind_);
  }

  /// The next member that is one. The symbol and name tables of ar are none.
  bool advance() {
    while (archive_->next()) {
      const std::string_view name = archive_->header().name;
      const bool table = kind_ == Kind::ar && (name == "/" || name == "//" || name == "/SYM64/" ||
                                               name.starts_with("__.SYMDEF"));
      if (table) continue;
      ++next_;
      meter_.begin_member();
      return true;
    }
    return false;
  }

  void add_member() {
    const Header header = archive_->header();
    MemberFacts facts;
    facts.name = header.name;
    facts.folder = header.type == Header::Type::folder;
    facts.time = header.time;
    facts.locator = header.header_position;
    if (header.type == Header::Type::file) {
      facts.size = header.size;
      if (enters_anywhere_ && !header.sparse) {
        const std::uint64_t left =
            source_.most_bytes - std::min(source_.most_bytes, header.data_position);
        facts.size = static_cast<std::int64_t>(
            std::min(static_cast<std::uint64_t>(std::max<std::int64_t>(0, facts.size)), left));
      }
    }
    if (header.type == Header::Type::link) facts.marks |= mark_link;
    if (header.type == Header::Type::special) facts.marks |= mark_special;
    if (header.encrypted) facts.marks |= mark_encrypted;
    list_.add(facts);
  }

  /// Makes `index` the pass's current member.
  void go_to(std::size_t index) {
    const bool ahead = archive_ != nullptr && index >= next_;
    if (enters_anywhere_ && !(ahead && index == next_)) {
      begin_pass(list_.locator(index), index);
    } else if (!ahead) {
      begin_pass(0, 0);
      keeping_ = may_keep_ && went_;
      went_ = true;
    }
    while (next_ <= index) {
      if (!advance()) throw EngineError(Code::archive_broken, "the archive ended early");
      if (keeping_ && next_ <= index) keep(next_ - 1);
      context_.limits.check_time();
    }
  }

  bool is_kept(std::size_t index) const {
    return index < places_.size() && places_[index].begin != Place::nowhere;
  }

  /// Keeps the current member, which is passed over.
  void keep(std::size_t index) {
    constexpr std::size_t most_places = 250'000;
    if (index >= most_places || is_kept(index)) return;
    if (index >= places_.size()) places_.resize(index + 1);
    const std::uint8_t marks = list_.marks(index);
    if (list_.is_folder(index) || (marks & (mark_special | mark_encrypted)) != 0) return;
    const std::uint64_t begin = kept_.size();
    try {
      if ((marks & mark_link) != 0) {
        kept_.append(archive_->header().link_target);
      } else {
        std::string_view block;
        std::uint64_t offset = 0;
        while (keeping_ && archive_->read_block(block, offset)) {
          meter_.add_unpacked(block.size());
          keeping_ = block.size() <= context_.limits.bounds().kept_bytes - kept_.size();
          if (keeping_) kept_.append(block);
          context_.limits.check_time();
        }
      }
    } catch (const EngineError& error) {
      if (error.code() == Code::timed_out || error.code() == Code::out_of_memory) throw;
      keeping_ = false;
      // Behind a damaged member the pass may not be able to go on, where it would be able to pass
      // over it.
      if (error.code() != Code::temporary_file) begin_pass(0, 0);
    }
    may_keep_ = keeping_;
    if (keeping_) places_[index] = {begin, kept_.size() - begin};
  }

  Extraction extract_kept(std::size_t index, ByteOutput& output) const {
    auto [begin, left] = places_[index];
    std::string block(std::size_t{64} << 10, '\0');
    std::string location;
    while (left != 0) {
      const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), left));
      const std::size_t count = kept_.read_at(begin, std::span(block).first(wanted));
      if (count == 0) throw EngineError(Code::temporary_file, "kept bytes are not there");
      const std::string_view bytes = std::string_view(block).substr(0, count);
      if ((list_.marks(index) & mark_link) != 0) {
        location += bytes;
      } else {
        output.write(bytes);
      }
      begin += count;
      left -= count;
      context_.limits.check_time();
    }
    if ((list_.marks(index) & mark_link) == 0) return {};
    return {.external = true, .location = list_.decoded(location)};
  }

  void copy(ByteOutput& output) {
    std::uint64_t written = 0;
    const auto write_hole = [&](std::uint64_t end) {
      static constexpr std::array<char, std::size_t{64} << 10> zeros{};
      while (written < end) {
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(zeros.size(), end - written));
        meter_.add_unpacked(count);
        output.write({zeros.data(), count});
        written += count;
      }
    };
    const Header header = archive_->header();
    std::string_view block;
    std::uint64_t offset = 0;
    while (archive_->read_block(block, offset)) {
      if (header.sparse) write_hole(offset);
      if (source_.packed_bytes == nullptr) {
        meter_.add_unpacked(block.size());
      } else {
        const std::uint64_t begin = list_.locator(next_ - 1);
        context_.limits.check_expansion(
            written + block.size(), source_.packed_bytes(begin, begin + written + block.size()));
      }
      output.write(block);
      written += block.size();
      context_.limits.check_time();
    }
    if (header.sparse)
      write_hole(static_cast<std::uint64_t>(std::max<std::int64_t>(0, header.size)));
  }

  ReaderContext context_;
  Kind kind_;
  ArchiveSource source_;
  ExpansionMeter meter_;
  MemberList list_;
  ListEnd end_;
  bool enters_anywhere_ = false;
  std::unique_ptr<LibraryArchive> archive_;
  std::size_t next_ = 0;  ///< the member that the pass's next header is of

  struct Place {
    static constexpr std::uint64_t nowhere = ~std::uint64_t{0};
    std::uint64_t begin = nowhere;
    std::uint64_t size = 0;
  };
  KeptBytes kept_;  ///< of members that have been passed over; of links their targets
  std::vector<Place> places_;
  bool may_keep_;         ///< no damage has been met, no bound
  bool keeping_ = false;  ///< in this pass
  bool went_ = false;     ///< a pass has gone to a member before
};

Kind kind_of(Format format) {
  switch (format) {
    case Format::cpio:
    case Format::cpio_crc:
      return Kind::cpio;
    case Format::seven_zip:
      return Kind::seven_zip;
    case Format::rar:
      return Kind::rar;
    case Format::iso_9660:
      return Kind::iso_9660;
    case Format::lha:
      return Kind::lha;
    case Format::ar:
      return Kind::ar;
    case Format::xar:
      return Kind::xar;
    default:
      return Kind::tar;
  }
}

}  // namespace

std::unique_ptr<Subfiles> list_archive(const ReaderContext& context, Kind kind,
                                       ArchiveSource source) {
  return std::make_unique<ListedArchive>(context, kind, std::move(source));
}

ArchiveSource document_source(const ReaderContext& context) {
  ArchiveSource source;
  source.most_bytes = context.document.size();
  source.open = [&document = context.document, &limits = context.limits](std::uint64_t offset) {
    return std::make_unique<DocumentStream>(document, limits, offset);
  };
  return source;
}

std::unique_ptr<Subfiles> open_listed_archive(const ReaderContext& context) {
  return list_archive(context, kind_of(context.detection.format), document_source(context));
}

}  // namespace trfilter
