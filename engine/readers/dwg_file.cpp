#include "engine/readers/dwg_file.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/fields.h"

namespace trfilter::dwg {
namespace {

constexpr std::size_t most_recent_bytes = std::size_t{16} << 20;

struct ReleaseRow {
  std::string_view mark;
  Release release;
};

constexpr auto releases = std::to_array<ReleaseRow>({
    {"AC1012", Release::r13},
    {"AC1014", Release::r14},
    {"AC1015", Release::r2000},
    {"AC1018", Release::r2004},
    {"AC1021", Release::r2007},
    {"AC1024", Release::r2010},
    {"AC1027", Release::r2013},
    {"AC1032", Release::r2018},
});

}  // namespace

std::string read_bytes(Document& document, std::uint64_t offset, std::uint64_t count) {
  if (offset >= document.size()) return {};
  std::string bytes(static_cast<std::size_t>(std::min(count, document.size() - offset)), '\0');
  bytes.resize(document.read_at(offset, bytes));
  return bytes;
}

Section::Section(std::vector<Page> pages, Storage storage, PageLoader& loader, Limits& limits)
    : pages_(std::move(pages)), storage_(storage), loader_(&loader), limits_(&limits) {
  std::stable_sort(pages_.begin(), pages_.end(),
                   [](const Page& a, const Page& b) { return a.start < b.start; });
  charged_.resize(pages_.size());
  if (!pages_.empty()) size_ = pages_.back().start + pages_.back().size;
}

const std::string& Section::loaded(std::size_t number) {
  const auto known = std::find_if(recent_.begin(), recent_.end(),
                                  [&](const Loaded& page) { return page.number == number; });
  if (known != recent_.end()) {
    recent_.splice(recent_.begin(), recent_, known);
    return recent_.front().bytes;
  }
  limits_->check_time();
  std::string bytes = loader_->load(pages_[number], storage_);
  if (!charged_[number]) limits_->charge_unpacked(bytes.size());
  charged_[number] = true;
  recent_bytes_ += bytes.size();
  recent_.push_front({number, std::move(bytes)});
  while (recent_.size() > 1 && recent_bytes_ > most_recent_bytes) {
    recent_bytes_ -= recent_.back().bytes.size();
    recent_.pop_back();
  }
  return recent_.front().bytes;
}

std::string Section::read(std::uint64_t offset, std::size_t count) {
  std::string out;
  if (offset >= size_) return out;
  auto page = std::upper_bound(pages_.begin(), pages_.end(), offset,
                               [](std::uint64_t at, const Page& p) { return at < p.start; });
  if (page == pages_.begin()) return out;
  for (--page; page != pages_.end() && out.size() < count; ++page) {
    const std::uint64_t at = offset + out.size();
    if (at < page->start || at - page->start >= page->size) break;
    const std::string& bytes = loaded(static_cast<std::size_t>(page - pages_.begin()));
    const auto within = static_cast<std::size_t>(at - page->start);
    if (within >= bytes.size()) break;
    out.append(bytes, within, count - out.size());
    if (bytes.size() < page->size) break;
  }
  return out;
}

std::unique_ptr<Section> open_named(const std::vector<NamedSection>& sections,
                                    std::string_view name, PageLoader& loader, Limits& limits) {
  for (const NamedSection& section : sections) {
    if (section.name != name) continue;
    return std::make_unique<Section>(section.pages, section.storage, loader, limits);
  }
  return nullptr;
}

std::optional<Header> read_header(Document& document) {
  constexpr std::size_t size = 0x24;
  const std::string_view head = document.head(size);
  const auto* row = std::find_if(releases.begin(), releases.end(), [&](const ReleaseRow& release) {
    return head.starts_with(release.mark);
  });
  if (row == releases.end()) return std::nullopt;
  if (head.size() < size) throw EngineError(Code::corrupt, "the drawing's header is cut");
  Header header;
  header.release = row->release;
  header.code_page = le16(head, 0x13);
  if (header.release >= Release::r2004) {
    const std::uint32_t security = le32(head, 0x18);
    header.data_encrypted = (security & 1) != 0;
    header.properties_encrypted = (security & 2) != 0;
    header.summary = le32(head, 0x20);
  }
  return header;
}

std::unique_ptr<Sections> open_sections(Document& document, Limits& limits, const Header& header) {
  if (header.release < Release::r2004) return open_sections_r13(document, limits);
  if (header.release == Release::r2007) return open_sections_2007(document, limits);
  return open_sections_2004(document, limits);
}

}  // namespace trfilter::dwg
