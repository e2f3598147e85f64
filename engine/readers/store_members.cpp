#include "engine/readers/store_members.h"

#include <algorithm>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/core/utf8.h"
#include "engine/mapi/item_output.h"
#include "engine/mapi/property_ids.h"

namespace trfilter::store {
namespace {

// Folders within each other; the library needs the stack for each.
constexpr std::size_t deepest_folder = 64;

// The kind of a node is in its number, [MS-PST] 2.2.2.1. Search folders, whose items lie in other
// folders, and items that describe views are of other kinds.
constexpr std::uint32_t node_kind = 0x1F;
constexpr std::uint32_t normal_folder = 0x02;
constexpr std::uint32_t normal_message = 0x04;

/// A name as a part of a path.
std::string path_part(std::string name) {
  constexpr std::size_t longest = 255;
  if (name.size() > longest) name.resize(clean_utf8_prefix(name.substr(0, longest)));
  for (char& c : name) {
    if (c == '/' || static_cast<unsigned char>(c) < ' ') c = '_';
  }
  if (name.empty()) name = "untitled";
  return name;
}

}  // namespace

StoreMembers::StoreMembers(const ReaderContext& context, Library& library)
    : context_(context), library_(&library) {
  add_folders();
}

/// Goes through all folders, depth first.
///
/// The library's own way to the items of a folder reads the table of its contents, and keeps all
/// cells of all rows. This one goes over the tree of nodes, which is in memory anyway.
void StoreMembers::add_folders() {
  struct Inner {
    int number;
    Item item;
  };
  struct Open {
    std::size_t place;  ///< in `folders_`
    std::vector<Inner> folders;
    std::size_t next = 0;
  };
  std::vector<Open> open;
  const auto enter = [&](const Item& item, Folder folder) {
    Open entered{folders_.size(), {}};
    int count = 0;
    library_->check(libpff_item_get_number_of_sub_items(item.get(), &count, nullptr));
    for (int number = 0; number < count; ++number) {
      Item inner = library_->sub_item(item.get(), number);
      uint32_t identifier = 0;
      if (!inner ||
          !library_->check(libpff_item_get_identifier(inner.get(), &identifier, nullptr))) {
        continue;
      }
      if ((identifier & node_kind) == normal_message) folder.items.push_back(number);
      if ((identifier & node_kind) == normal_folder && open.size() < deepest_folder) {
        entered.folders.push_back({number, std::move(inner)});
      }
      context_.limits.check_members(count_ + folder.items.size() + entered.folders.size());
    }
    count_ = folder.first_item + folder.items.size();
    folders_.push_back(std::move(folder));
    open.push_back(std::move(entered));
  };
  enter(library_->root_folder(), {});
  while (!open.empty()) {
    Open& top = open.back();
    if (top.next == top.folders.size()) {
      open.pop_back();
      continue;
    }
    const Inner inner = std::move(top.folders[top.next++]);
    ItemProperties properties(*library_, inner.item.get());
    Folder folder;
    folder.first_item = count_ + 1;
    folder.parent = top.place;
    folder.number = inner.number;
    folder.path =
        folders_[top.place].path + path_part(properties.text(mapi::id::display_name)) + '/';
    folders_[top.place].folders.push_back(folders_.size());
    enter(inner.item, std::move(folder));
  }
}

/// The folder that an index belongs to: of the folder itself or of one of its items.
std::size_t StoreMembers::folder_of(std::size_t index) const {
  const auto next = std::ranges::upper_bound(folders_.begin() + 1, folders_.end(), index + 1, {},
                                             &Folder::first_item);
  return static_cast<std::size_t>(next - folders_.begin()) - 1;
}

std::int32_t StoreMembers::index_of(std::size_t folder) const {
  return folder == 0 ? Subfile::no_parent
                     : static_cast<std::int32_t>(folders_[folder].first_item - 1);
}

libpff_item_t* StoreMembers::open_folder(std::size_t folder) {
  if (open_folder_ && open_folder_place_ == folder) return open_folder_.get();
  std::vector<std::size_t> way;
  for (std::size_t at = folder; at != 0; at = folders_[at].parent) way.push_back(at);
  Item item = library_->root_folder();
  for (; !way.empty(); way.pop_back()) {
    item = library_->sub_item(item.get(), folders_[way.back()].number);
    if (!item) throw EngineError(Code::corrupt, "a folder of the mail store cannot be opened");
  }
  open_folder_ = std::move(item);
  open_folder_place_ = folder;
  return open_folder_.get();
}

std::unique_ptr<StoreMessage> StoreMembers::open_item(std::size_t index) {
  const std::size_t folder = folder_of(index);
  const int number = folders_[folder].items[index - folders_[folder].first_item];
  Item item = library_->sub_item(open_folder(folder), number);
  if (!item) throw EngineError(Code::corrupt, "an item of the mail store cannot be opened");
  auto message = std::make_unique<StoreMessage>(*library_, std::move(item));
  mapi::assume_encoding(message->properties(), context_.options);
  return message;
}

Subfile StoreMembers::describe(std::size_t index) {
  const std::size_t place = folder_of(index);
  const Folder& folder = folders_[place];
  Subfile member;
  if (is_folder(index, folder)) {
    member.kind = SubfileKind::folder;
    member.name = folder.path.substr(0, folder.path.size() - 1);
    member.parent = index_of(folder.parent);
    for (std::size_t i = 0; i < folder.items.size(); ++i) {
      member.children.push_back(static_cast<std::int32_t>(folder.first_item + i));
    }
    for (const std::size_t inner : folder.folders) member.children.push_back(index_of(inner));
    return member;
  }
  member.kind = SubfileKind::message;
  member.parent = index_of(place);
  member.name = folder.path;
  try {
    const auto message = open_item(index);
    member.kind = mapi::item_kind(*message);
    member.name += path_part(mapi::item_title(*message));
    mapi::PropertySource& properties = message->properties();
    for (const std::uint16_t time : {mapi::id::client_submit_time, mapi::id::message_delivery_time,
                                     mapi::id::last_modification_time, mapi::id::creation_time}) {
      if (member.time.ticks == 0) member.time = properties.time(time);
    }
  } catch (const EngineError& error) {
    // It stays a member, so that extracting it tells what is wrong.
    if (error.code() != Code::corrupt) throw;
    member.name += path_part({});
  }
  return member;
}

Subfiles::Extraction StoreMembers::extract(std::size_t index, ByteOutput& output,
                                           bool formatted_mail) {
  if (is_folder(index, folders_[folder_of(index)])) {
    throw EngineError(Code::invalid_argument, "a folder has no bytes");
  }
  const auto message = open_item(index);
  const std::size_t failures = library_->failures();
  mapi::write_item(context_, *message, formatted_mail, output);
  if (library_->failures() != failures) {
    throw EngineError(Code::corrupt, "parts of the item cannot be read");
  }
  return {};
}

void StoreMembers::mail_fields(std::size_t index, Properties& fields) {
  if (is_folder(index, folders_[folder_of(index)])) return;
  const auto message = open_item(index);
  add_mail_fields(mapi::mail_headers(*message), fields);
}

}  // namespace trfilter::store
