#include "engine/mail/html_sanitizer.h"

#include <algorithm>
#include <array>

#include "engine/charset/text_decoder.h"
#include "engine/html/html_tokenizer.h"

namespace trfilter {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t block = std::size_t{64} << 10;

// Names between blanks, as they are looked for.
constexpr std::string_view elements =
    " a abbr acronym address article aside b bdi bdo big blockquote br caption center cite code col"
    " colgroup dd del details dfn dir div dl dt em figcaption figure font footer h1 h2 h3 h4 h5 h6"
    " header hgroup hr i img ins kbd li main mark menu nav nobr ol p pre q rp rt ruby s samp "
    "section"
    " small span strike strong sub summary sup table tbody td tfoot th thead time tr tt u ul var"
    " wbr ";
constexpr std::string_view empty_elements = " br col hr img wbr ";

// Elements whose text is for no reader.
constexpr std::string_view silent_elements = " title template datalist ";

constexpr std::string_view attributes =
    " abbr align alt bgcolor border cellpadding cellspacing char charoff clear color cols colspan"
    " compact datetime dir face headers height hspace lang nowrap open reversed rowspan rules scope"
    " size span start summary title type valign value vspace width ";

// Properties of inline styles. What places an element anywhere on the page is not among them.
constexpr std::string_view style_properties =
    " background-color border border-bottom border-bottom-color border-bottom-style"
    " border-bottom-width border-collapse border-color border-left border-left-color"
    " border-left-style border-left-width border-radius border-right border-right-color"
    " border-right-style border-right-width border-spacing border-style border-top border-top-color"
    " border-top-style border-top-width border-width caption-side clear color direction display"
    " empty-cells float font font-family font-size font-stretch font-style font-variant font-weight"
    " height letter-spacing line-height list-style-type margin margin-bottom margin-left"
    " margin-right margin-top max-height max-width min-height min-width overflow-wrap padding"
    " padding-bottom padding-left padding-right padding-top table-layout text-align text-decoration"
    " text-indent text-transform unicode-bidi vertical-align visibility white-space width"
    " word-break word-spacing word-wrap ";

// Data URLs of pictures that no viewer runs anything of.
constexpr std::array<std::string_view, 5> picture_urls{
    "data:image/png;base64,", "data:image/jpeg;base64,", "data:image/jpg;base64,",
    "data:image/gif;base64,", "data:image/webp;base64,"};

constexpr std::string_view blanks = " \t\n\f\r";

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool is_listed(std::string_view name, std::string_view list) {
  if (name.empty() || name.find(' ') != npos) return false;
  return list.find(" " + std::string(name) + " ") != npos;
}

/// Whether a style's value is a plain one: functions could load something, all but those of
/// colours.
bool is_plain_style(std::string_view value) {
  if (value.find_first_of("\\@<>{}/") != npos) return false;
  for (std::size_t at = value.find('('); at != npos; at = value.find('(', at + 1)) {
    const std::string_view before = value.substr(0, at);
    if (!before.ends_with("rgb") && !before.ends_with("rgba") && !before.ends_with("hsl") &&
        !before.ends_with("hsla")) {
      return false;
    }
  }
  return true;
}

std::string plain_styles(std::string_view style) {
  std::string kept;
  while (!style.empty()) {
    const std::string_view declaration = style.substr(0, style.find(';'));
    style.remove_prefix(std::min(declaration.size() + 1, style.size()));
    const std::size_t colon = declaration.find(':');
    if (colon == npos) continue;
    const std::string name = lower_case(trimmed(declaration.substr(0, colon)));
    const std::string_view value = trimmed(declaration.substr(colon + 1));
    if (!is_listed(name, style_properties) || !is_plain_style(lower_case(value))) continue;
    if (!kept.empty()) kept += "; ";
    kept += name + ": ";
    kept += value;
  }
  return kept;
}

class Sanitizer : public HtmlTokenHandler {
 public:
  Sanitizer(const std::function<std::string(std::string_view)>& picture, ByteOutput& output)
      : picture_(&picture), output_(&output) {}

  void start_tag(const HtmlTag& tag) override {
    if (is_listed(tag.name(), silent_elements)) {
      if (!tag.self_closing()) ++silent_;
      return;
    }
    if (silent_ != 0 || !is_listed(tag.name(), elements)) return;
    out_ += '<';
    out_ += tag.name();
    for (std::size_t begin = 1; begin < attributes.size();) {
      const std::size_t end = attributes.find(' ', begin);
      const std::string_view name = attributes.substr(begin, end - begin);
      begin = end + 1;
      if (tag.has_attribute(name)) attribute(name, tag.attribute(name));
    }
    const std::string_view style = tag.attribute("style");
    if (!style.empty()) {
      if (const std::string plain = plain_styles(style); !plain.empty()) attribute("style", plain);
    }
    if (tag.name() == "a" && !tag.has_attribute("title")) link(tag.attribute("href"));
    if (tag.name() == "img") source(tag.attribute("src"));
    out_ += '>';
    flush(block);
  }

  void end_tag(std::string_view name) override {
    if (is_listed(name, silent_elements)) {
      if (silent_ != 0) --silent_;
      return;
    }
    if (silent_ != 0 || !is_listed(name, elements) || is_listed(name, empty_elements)) return;
    out_ += "</";
    out_ += name;
    out_ += '>';
    flush(block);
  }

  void text(std::string_view utf8) override {
    if (silent_ != 0) return;
    append_escaped_html(out_, utf8);
    flush(block);
  }

  void flush(std::size_t least) {
    if (out_.size() < least || out_.empty()) return;
    output_->write(out_);
    out_.clear();
  }

 private:
  void attribute(std::string_view name, std::string_view value) {
    out_ += ' ';
    out_ += name;
    out_ += "=\"";
    append_escaped_html(out_, value);
    out_ += '"';
  }

  void link(std::string_view target) {
    target = trimmed(target);
    if (!target.empty() && !target.starts_with('#')) attribute("title", target);
  }

  void source(std::string_view url) {
    url = trimmed(url);
    const std::string begin = lower_case(url.substr(0, 32));
    if (begin.starts_with("cid:")) {
      if (const std::string data = (*picture_)(url.substr(4)); !data.empty()) {
        attribute("src", data);
      }
      return;
    }
    if (std::ranges::any_of(picture_urls,
                            [&](std::string_view kind) { return begin.starts_with(kind); })) {
      attribute("src", url);
    }
  }

  const std::function<std::string(std::string_view)>* picture_;
  ByteOutput* output_;
  std::string out_;
  std::size_t silent_ = 0;
};

}  // namespace

void write_sanitized_html(std::string_view utf8,
                          const std::function<std::string(std::string_view)>& picture,
                          const Limits& limits, ByteOutput& output) {
  Sanitizer sanitizer(picture, output);
  HtmlTokenizer tokenizer(sanitizer);
  LineEndings line_endings;
  std::string clean;
  for (; !utf8.empty(); utf8.remove_prefix(std::min(block, utf8.size()))) {
    clean = line_endings.normalize(utf8.substr(0, block));
    std::erase(clean, '\0');
    tokenizer.feed(clean);
    limits.check_time();
  }
  tokenizer.finish();
  sanitizer.flush(0);
}

void append_escaped_html(std::string& out, std::string_view utf8) {
  while (!utf8.empty()) {
    const std::size_t at = utf8.find_first_of("&<>\"");
    out += utf8.substr(0, at);
    if (at == npos) return;
    switch (utf8[at]) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += "&quot;";
        break;
    }
    utf8.remove_prefix(at + 1);
  }
}

}  // namespace trfilter
