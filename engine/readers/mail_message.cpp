#include "engine/readers/mail_message.h"

#include <algorithm>
#include <array>
#include <unordered_set>
#include <utility>

#include "engine/html/html_charset.h"
#include "engine/mail/encoded_words.h"
#include "engine/mail/html_sanitizer.h"
#include "engine/mail/mail_charset.h"
#include "engine/readers/mail_mailbox.h"
#include "engine/readers/mail_names.h"
#include "engine/readers/mail_text_files.h"

namespace trfilter::mail {
namespace {

// Bodies that are kept in memory: those of formatted mail, and RTF.
constexpr std::size_t most_body = std::size_t{32} << 20;
constexpr std::size_t looked_at_for_text = std::size_t{16} << 10;
// Parts up to this are decoded to tell their size.
constexpr std::uint64_t most_measured = std::uint64_t{256} << 10;
// Names of attachments that are stated; what is beyond counts.
constexpr std::size_t most_names = 1000;
constexpr std::size_t most_pictures = 1000;

// Of a longer page only the begin is compared with the text that is shown instead of it.
constexpr std::size_t most_compared_page = std::size_t{1} << 20;

constexpr std::uint8_t no_rank = 9;

/// The words of a text, without regard to case.
class WordSet {
 public:
  void add(std::string_view text) {
    for_each_word(text, [&](const std::string& word) {
      words_.insert(word);
      return true;
    });
  }

  bool holds_all_of(std::string_view text) const {
    return for_each_word(text, [&](const std::string& word) { return words_.contains(word); });
  }

 private:
  template <typename Visit>
  static bool for_each_word(std::string_view text, const Visit& visit) {
    std::string word;
    for (std::size_t at = 0; at <= text.size(); ++at) {
      const char c = at < text.size() ? text[at] : ' ';
      const bool letter = static_cast<unsigned char>(c) >= 0x80 || (c >= '0' && c <= '9') ||
                          (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
      if (letter) {
        word += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
      } else if (!word.empty()) {
        if (!visit(word)) return false;
        word.clear();
      }
    }
    return true;
  }

  std::unordered_set<std::string> words_;
};

/// What a part gives, as an output.
class Counter : public ByteOutput {
 public:
  void write(std::string_view bytes) override { count += static_cast<std::int64_t>(bytes.size()); }
  std::int64_t count = 0;
};

}  // namespace

/// Writes the text of one body part, without the files in it.
class Message::BodyText {
 public:
  BodyText(Message& message, const Part& part, TextSink& sink)
      : sink_(sink),
        unquotes_(message.use_ == MessageUse::in_mailbox &&
                  part.encoding != TransferEncoding::base64) {
    MailBody form = message.form_of(part);
    if (part.kind == PartKind::rtf) {
      form.kind = MailBody::Kind::rtf;
      form.bytes = read_content(message.document_, message.context_.limits, message.body_of(part),
                                part.encoding, most_body);
      whole_ = std::make_unique<MailBodyText>(message.context_, std::move(form));
      return;
    }
    const bool page = message.use_ == MessageUse::web_page;
    writer_ = std::make_unique<MailTextWriter>(
        form, message.context_.options, sink,
        page ? MailTextWriter::Title::shown : MailTextWriter::Title::left_out);
    Stretch left = message.body_of(part);
    const auto number = static_cast<std::int32_t>(&part - message.parts_.data());
    const auto [first, last] =
        std::equal_range(message.owners_.begin(), message.owners_.end(), number);
    for (auto owner = first; owner != last; ++owner) {
      const auto i = static_cast<std::size_t>(owner - message.owners_.begin());
      Stretch before = left;
      before.end = message.text_files_[i].stretch.begin;
      readers_.emplace_back(message.document_, message.context_.limits, before, part.encoding);
      left.begin = message.text_files_[i].stretch.end;
    }
    readers_.emplace_back(message.document_, message.context_.limits, left, part.encoding);
  }

  bool step() {
    if (whole_) return whole_->step(sink_);
    const bool more_here = readers_[next_].next(block_);
    if (!more_here) ++next_;
    const bool last = next_ == readers_.size();
    std::string_view text = block_;
    if (unquotes_) text = unquoter_.next(text, last);
    writer_->feed(text, last);
    if (last) sink_.paragraph();
    return !last;
  }

 private:
  TextSink& sink_;
  bool unquotes_;
  std::unique_ptr<MailBodyText> whole_;
  std::unique_ptr<MailTextWriter> writer_;
  std::vector<ContentReader> readers_;
  std::size_t next_ = 0;
  FromUnquoter unquoter_;
  std::string block_;
};

Message::Message(const ReaderContext& context, Document& document, const Stretch& stretch,
                 MessageUse use)
    : context_(context),
      document_(document),
      stretch_(stretch),
      use_(use),
      header_(document, context.limits, stretch),
      parts_(find_parts(document, context.limits, stretch, context.options)) {
  sort_parts();
}

Message::~Message() = default;

// ---- what is shown, and what is a member

/// How well a part's text can be shown: the least is the best.
std::uint8_t Message::rank_of(const Part& part) {
  switch (part.kind) {
    case PartKind::plain:
      return part.attachment ? no_rank : 0;
    case PartKind::html:
      return part.attachment ? no_rank : 1;
    case PartKind::rtf:
      return part.attachment ? no_rank : 2;
    case PartKind::calendar:
      return part.attachment ? no_rank : 3;
    case PartKind::other_text:
      return part.attachment ? no_rank : 4;
    default:
      return no_rank;
  }
}

bool Message::has_text(const Part& part) {
  const std::string text = decode_mail_text(
      read_content(document_, context_.limits, body_of(part), part.encoding, looked_at_for_text),
      facts_of(part).charset, context_.options);
  return std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) > ' '; });
}

std::int32_t Message::chosen_form(const Part& alternative) {
  for (unsigned rank = 0; rank < no_rank; ++rank) {
    for (std::int32_t child = alternative.first_child; child != Part::none;
         child = part(child).next_sibling) {
      if (ranks_[static_cast<std::size_t>(child)] != rank) continue;
      if (part(child).kind != PartKind::plain || has_text(part(child))) return child;
    }
  }
  return Part::none;
}

/// RFC 2387, 3.2: the part that "start" names, else the first.
std::int32_t Message::shown_by(const Part& related) {
  constexpr unsigned most_compared = 1000;
  const std::string start = facts_of(related).start;
  unsigned compared = 0;
  for (std::int32_t child = related.first_child;
       !start.empty() && child != Part::none && compared < most_compared;
       child = part(child).next_sibling, ++compared) {
    if (facts_of(part(child)).content_id == start) return child;
  }
  return related.first_child;
}

void Message::sort_parts() {
  ranks_.assign(parts_.size(), no_rank);
  for (std::size_t i = parts_.size(); i-- > 0;) {
    const Part& here = parts_[i];
    if (!here.is_multipart()) ranks_[i] = rank_of(here);
    if (here.parent == Part::none) continue;
    std::uint8_t& above = ranks_[static_cast<std::size_t>(here.parent)];
    above = std::min(above, ranks_[i]);
  }
  std::vector<Place> places(parts_.size(), Place::shown);
  for (std::size_t i = 0; i < parts_.size(); ++i) {
    const auto number = static_cast<std::int32_t>(i);
    const Part here = parts_[i];
    if (!here.is_multipart()) {
      sort_leaf(number, places[i]);
      continue;
    }
    std::int32_t shown = Part::none;
    Place others = places[i];
    if (here.kind == PartKind::alternative && places[i] == Place::shown) {
      shown = chosen_form(here);
      others = Place::other_form;
    } else if (here.kind == PartKind::related) {
      shown = shown_by(here);
      others = Place::resource;
    } else if (here.kind == PartKind::signed_) {
      shown = here.first_child;
      others = Place::resource;
    } else if (here.kind == PartKind::encrypted) {
      others = Place::resource;
    }
    for (std::int32_t child = here.first_child; child != Part::none;
         child = part(child).next_sibling) {
      places[static_cast<std::size_t>(child)] = child == shown ? places[i] : others;
    }
  }
  ranks_ = {};
}

void Message::sort_leaf(std::int32_t number, Place place) {
  const Part& leaf = part(number);
  const bool is_text = rank_of(leaf) != no_rank;
  if (is_text && place == Place::other_form && !leaf.named && leaf.kind != PartKind::calendar) {
    if (leaf.kind == PartKind::html) other_pages_.push_back(number);
    return;
  }
  // A text with a name of its own is a file, unless there is no other text.
  const bool chosen = leaf.parent == Part::none || part(leaf.parent).kind != PartKind::mixed;
  const bool file = leaf.named && !bodies_.empty();
  const bool body = leaf.kind == PartKind::plain || leaf.kind == PartKind::html ||
                    leaf.kind == PartKind::other_text || chosen;
  if (is_text && place == Place::shown && !file && body) {
    bodies_.push_back(number);
  } else {
    members_.push_back({number, Part::none, place == Place::resource});
  }
}

/// Looks for files in the texts, once; they are members too.
void Message::find_text_files() {
  if (text_files_found_) return;
  text_files_found_ = true;
  for (const std::int32_t number : bodies_) {
    const Part& text = part(number);
    if (text.kind != PartKind::plain || text.encoding != TransferEncoding::identity) continue;
    for (TextFile& file : mail::find_text_files(document_, context_.limits, body_of(text))) {
      members_.push_back({number, static_cast<std::int32_t>(text_files_.size()), false});
      text_files_.push_back(std::move(file));
      owners_.push_back(number);
    }
  }
  if (!text_files_.empty()) std::ranges::stable_sort(members_, {}, &Member::part);
}

/// Text of one part as it would be shown.
std::string Message::shown_text(std::int32_t number) {
  Limits limits = context_.limits;  // it goes nowhere, and so does not count
  TextSink sink(context_.options, limits);
  const Part& form = part(number);
  MailTextWriter writer(form_of(form), context_.options, sink, MailTextWriter::Title::left_out);
  writer.feed(
      read_content(document_, context_.limits, body_of(form), form.encoding, most_compared_page),
      true);
  sink.finish();
  return sink.take_all();
}

/// The page of a body that is shown as plain text says the same, as a rule. One that does not is
/// not to be lost: it is a member.
void Message::find_other_pages() {
  if (other_pages_found_) return;
  other_pages_found_ = true;
  if (other_pages_.empty()) return;
  WordSet shown;
  for (const std::int32_t number : bodies_) {
    if (part(number).kind == PartKind::plain) shown.add(shown_text(number));
  }
  const auto attachments = static_cast<std::ptrdiff_t>(members_.size());
  for (const std::int32_t number : other_pages_) {
    context_.limits.check_time();
    if (shown.holds_all_of(shown_text(number))) continue;
    members_.push_back({number, Part::none, true});
  }
  std::inplace_merge(members_.begin(), members_.begin() + attachments, members_.end(),
                     [](const Member& a, const Member& b) { return a.part < b.part; });
}

void Message::find_all_members() {
  find_text_files();
  find_other_pages();
}

// ---- facts

Stretch Message::body_of(const Part& part) const {
  return {part.body, part.end, stretch_.line_end};
}

bool Message::is_message(const Part& part, const PartFacts& facts) {
  return part.kind == PartKind::message || facts.media_type.starts_with("multipart/");
}

Stretch Message::content_of(const Part& part, const PartFacts& facts) const {
  Stretch content = body_of(part);
  // A multipart that is too deep is a message of its own, its header included.
  if (part.kind != PartKind::message && is_message(part, facts)) content.begin = part.header;
  return content;
}

PartFacts Message::facts_of(const Part& part) {
  const Header header(document_, context_.limits, {part.header, part.body, stretch_.line_end});
  return part_facts(header, context_.options);
}

MailBody Message::form_of(const Part& part) {
  const PartFacts facts = facts_of(part);
  MailBody form;
  form.kind = part.kind == PartKind::html ? MailBody::Kind::html : MailBody::Kind::plain;
  form.charset = facts.charset;
  form.flowed = facts.flowed && part.kind == PartKind::plain;
  form.delete_space = facts.delete_space;
  return form;
}

MailHeaders Message::headers() {
  find_text_files();
  MailHeaders headers = mail_headers(header_, context_.options);
  for (std::size_t i = 0; i < members_.size(); ++i) {
    if (members_[i].resource) continue;
    headers.attachments.emplace_back(headers.attachments.size() < most_names ? describe(i).name
                                                                             : std::string());
  }
  return headers;
}

// ---- text

bool Message::step(TextSink& sink) {
  if (!headers_shown_) {
    headers_shown_ = true;
    find_text_files();
    if (use_ != MessageUse::web_page) {
      show_mail_headers(mail_headers(header_, context_.options), sink);
    }
  } else if (next_body_ < bodies_.size()) {
    if (!body_text_)
      body_text_ = std::make_unique<BodyText>(*this, part(bodies_[next_body_]), sink);
    if (!body_text_->step()) {
      body_text_.reset();
      ++next_body_;
    }
  }
  context_.limits.check_time();
  return next_body_ < bodies_.size();
}

// ---- members

std::size_t Message::member_count() {
  find_all_members();
  return members_.size();
}

std::string Message::member_name(std::size_t index, const PartFacts& facts) {
  std::string name = file_name_of(without_folders(facts.name));
  const Part& here = part(members_[index].part);
  if (name.empty() && here.kind == PartKind::message) {
    const Stretch body = body_of(here);
    if (here.encoding == TransferEncoding::identity) {
      const Header inner(document_, context_.limits, body);
      name = file_name_of(decode_header_text(inner.value("subject"), context_.options));
    }
    if (!name.empty()) name += ".eml";
  }
  if (name.empty()) name = file_name_of(name_of_location(facts.location));
  if (!name.empty()) return name;
  const std::string_view extension =
      is_message(here, facts) ? std::string_view("eml") : extension_of(facts.media_type);
  return "attachment-" + std::to_string(index + 1) + "." + std::string(extension);
}

Subfile Message::describe(std::size_t index) {
  const Member& member = members_[index];
  Subfile subfile;
  subfile.kind = SubfileKind::attachment;
  if (member.text_file != Part::none) {
    const TextFile& file = text_files_[static_cast<std::size_t>(member.text_file)];
    subfile.name = file_name_of(without_folders(decode_mail_text(file.name, {}, context_.options)));
    if (subfile.name.empty()) subfile.name = "attachment-" + std::to_string(index + 1) + ".bin";
    return subfile;
  }
  const Part& here = part(member.part);
  const PartFacts facts = facts_of(here);
  subfile.name = member_name(index, facts);
  subfile.time = facts.modified;
  const Stretch content = content_of(here, facts);
  if (is_message(here, facts)) subfile.kind = SubfileKind::message;
  const bool whole = content.begin == here.header;
  if (here.encoding == TransferEncoding::identity || whole) {
    subfile.size = static_cast<std::int64_t>(content.size());
    if (here.kind == PartKind::message) {
      const Header inner(document_, context_.limits, content);
      subfile.time = parse_date(inner.value("date")).value_or(subfile.time);
    }
  } else if (content.size() <= most_measured) {
    Counter counter;
    write_member(member, counter);
    subfile.size = counter.count;
  }
  return subfile;
}

void Message::write_member(const Member& member, ByteOutput& output) {
  Stretch content;
  TransferEncoding encoding = TransferEncoding::identity;
  if (member.text_file != Part::none) {
    const TextFile& file = text_files_[static_cast<std::size_t>(member.text_file)];
    content = file.stretch;
    encoding = file.encoding;
  } else {
    const Part& here = part(member.part);
    content = content_of(here, facts_of(here));
    if (content.begin == here.body) encoding = here.encoding;
  }
  if (encoding == TransferEncoding::identity) {
    copy_stretch(document_, context_.limits, content, output);
    return;
  }
  ContentReader reader(document_, context_.limits, content, encoding);
  std::string block;
  bool more = true;
  while (more) {
    more = reader.next(block);
    if (!block.empty()) output.write(block);
  }
}

void Message::extract(std::size_t index, ByteOutput& output, bool formatted_mail) {
  find_text_files();
  const Member& member = members_[index];
  const Part& here = part(member.part);
  if (formatted_mail && here.kind == PartKind::message && member.text_file == Part::none &&
      here.encoding == TransferEncoding::identity) {
    Message(context_, document_, body_of(here), MessageUse::message).write_formatted(output);
    return;
  }
  write_member(member, output);
}

void Message::mail_fields(std::size_t index, Properties& fields) {
  find_text_files();
  const Part& here = part(members_[index].part);
  if (here.kind != PartKind::message || members_[index].text_file != Part::none ||
      here.encoding != TransferEncoding::identity) {
    return;
  }
  add_mail_fields(Message(context_, document_, body_of(here), MessageUse::message).headers(),
                  fields);
}

// ---- formatted mail

/// The page that an alternative has for a text is the better form here.
std::int32_t Message::page_for(std::int32_t text) {
  const std::int32_t parent = part(text).parent;
  if (parent == Part::none || part(parent).kind != PartKind::alternative) return text;
  std::int32_t best = text;
  for (std::int32_t child = part(parent).first_child; child != Part::none;
       child = part(child).next_sibling) {
    const std::int32_t form = part(child).kind == PartKind::related ? shown_by(part(child)) : child;
    if (part(form).kind == PartKind::html && !part(form).attachment) best = form;
  }
  return best;
}

/// The texts of the message as one: several of them are a page.
MailBody Message::formatted_body() {
  MailBody whole;
  for (std::size_t i = 0; i < bodies_.size() && whole.bytes.size() < most_body; ++i) {
    const Part& chosen = part(page_for(bodies_[i]));
    MailBody form = form_of(chosen);
    if (chosen.kind == PartKind::rtf) form.kind = MailBody::Kind::rtf;
    form.bytes =
        read_content(document_, context_.limits, body_of(chosen), chosen.encoding, most_body);
    if (bodies_.size() == 1) return form;
    whole.kind = MailBody::Kind::html;
    whole.charset = "utf-8";
    if (form.kind == MailBody::Kind::html) {
      std::string charset = form.charset;
      if (encoding_of_label(charset) == nullptr) charset = declared_encoding_label(form.bytes);
      whole.bytes += decode_mail_text(form.bytes, charset, context_.options);
    } else if (form.kind == MailBody::Kind::plain) {
      whole.bytes += "\n<pre>\n";
      append_escaped_html(whole.bytes,
                          decode_mail_text(form.bytes, form.charset, context_.options));
      whole.bytes += "</pre>\n";
    }
  }
  return whole;
}

void Message::write_formatted(ByteOutput& output) {
  find_text_files();
  std::vector<MailPart> pictures;
  for (const Member& member : members_) {
    if (member.text_file != Part::none || pictures.size() >= most_pictures) continue;
    const PartFacts facts = facts_of(part(member.part));
    if (facts.content_id.empty()) continue;
    pictures.push_back({{}, facts.media_type, facts.content_id, [this, &member](ByteOutput& to) {
                          write_member(member, to);
                        }});
  }
  write_formatted_mail(context_, headers(), {formatted_body()}, pictures, output);
}

Subfile describe_message(const ReaderContext& context, Document& document, const Stretch& stretch,
                         std::size_t number) {
  const Header header(document, context.limits, stretch);
  Subfile subfile;
  subfile.kind = SubfileKind::message;
  subfile.name = file_name_of(decode_header_text(header.value("subject"), context.options));
  if (subfile.name.empty()) subfile.name = "message-" + std::to_string(number + 1);
  subfile.name += ".eml";
  subfile.size = static_cast<std::int64_t>(stretch.size());
  subfile.time = parse_date(header.value("date")).value_or(FileTime{});
  return subfile;
}

void copy_stretch(Document& document, Limits& limits, const Stretch& stretch, ByteOutput& output) {
  ContentReader reader(document, limits, stretch, TransferEncoding::identity);
  std::string block;
  bool more = true;
  while (more) {
    more = reader.next(block);
    if (!block.empty()) output.write(block);
  }
}

}  // namespace trfilter::mail
