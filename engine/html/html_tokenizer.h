#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace trfilter {

/// A start tag. All views end with the call that they came with.
class HtmlTag {
 public:
  /// In lower case.
  std::string_view name() const { return name_; }

  /// Whether the tag ends with "/>" where that ends the element: XML syntax, SVG and MathML.
  bool self_closing() const { return self_closing_; }

  /// The value of the first attribute with this lower-case name, references resolved; empty
  /// when there is none.
  std::string_view attribute(std::string_view name) const;
  bool has_attribute(std::string_view name) const;

  /// Makes it the tag of another element without attributes, for who has elements but no HTML.
  void assign(std::string_view lower_case_name, bool self_closing = false);
  /// Adds an attribute, references in its value resolved.
  void add(std::string_view lower_case_name, std::string_view value);

 private:
  friend class HtmlTokenizer;

  struct Attribute {
    std::size_t name_begin;
    std::size_t name_end;  ///< and begin of the value
    std::size_t value_end;
  };

  const Attribute* find(std::string_view name) const;

  std::string name_;
  bool self_closing_ = false;
  std::string bytes_;  ///< names and values, one after another
  std::vector<Attribute> attributes_;
};

/// Takes the tokens of an HTML text.
class HtmlTokenHandler {
 public:
  virtual ~HtmlTokenHandler() = default;
  virtual void start_tag(const HtmlTag&) = 0;
  /// @param name  in lower case
  virtual void end_tag(std::string_view name) = 0;
  /// Text with references resolved, in pieces of any length.
  virtual void text(std::string_view utf8) = 0;
};

/// Divides HTML into tokens as the HTML standard's tokenizer does (section "Tokenization"), in
/// constant memory and in linear time whatever the input is: nothing but the tag at hand is kept,
/// names to 64 bytes and the attributes of one tag to 1 MiB.
///
/// What scripts, style sheets, iframes and comments hold is no text. A script ends at its first end
/// tag.
class HtmlTokenizer {
 public:
  enum class Syntax : unsigned char {
    html,
    xml,  ///< "/>" ends any element, CDATA sections are text
  };

  explicit HtmlTokenizer(HtmlTokenHandler& handler, Syntax syntax = Syntax::html)
      : handler_(&handler), syntax_(syntax) {}

  /// Takes the next piece of valid UTF-8 without carriage returns; it may end anywhere.
  void feed(std::string_view utf8);

  /// Tells that the text is at its end.
  void finish();

 private:
  enum class State : unsigned char {
    data,
    reference,
    tag_open,
    end_tag_open,
    tag_name,
    before_attribute,
    attribute_name,
    after_attribute_name,
    before_value,
    value_double_quoted,
    value_single_quoted,
    value_unquoted,
    self_closing_slash,
    markup_declaration,
    comment,
    bogus_comment,
    instruction,
    document_type,
    cdata,
    raw_text,
    plain_text,
  };

  /// How the text of the element at hand is read.
  enum class Raw : unsigned char { no, hidden, shown, with_references };

  std::size_t data(std::string_view rest);
  std::size_t reference(std::string_view rest);
  std::size_t tag_open(std::string_view rest);
  std::size_t end_tag_open(std::string_view rest);
  std::size_t tag_name(std::string_view rest);
  std::size_t before_attribute(std::string_view rest);
  std::size_t attribute_name(std::string_view rest);
  std::size_t after_attribute_name(std::string_view rest);
  std::size_t before_value(std::string_view rest);
  std::size_t quoted_value(std::string_view rest, char quote);
  std::size_t unquoted_value(std::string_view rest);
  std::size_t self_closing_slash(std::string_view rest);
  std::size_t markup_declaration(std::string_view rest);
  std::size_t comment(std::string_view rest);
  std::size_t instruction(std::string_view rest);
  std::size_t document_type(std::string_view rest);
  std::size_t cdata(std::string_view rest);
  std::size_t raw_text(std::string_view rest);

  std::size_t advance(std::string_view rest);
  void begin_tag(bool end);
  void begin_attribute();
  void append_to_attribute(std::string_view bytes);
  void end_attribute();
  void end_of_tag();
  void emit(std::string_view text);

  HtmlTokenHandler* handler_;
  Syntax syntax_;
  State state_ = State::data;
  HtmlTag tag_;
  bool tag_is_end_ = false;
  bool attribute_open_ = false;
  bool attribute_dropped_ = false;
  bool value_has_reference_ = false;
  Raw raw_ = Raw::no;
  std::string raw_name_;
  unsigned foreign_depth_ = 0;
  unsigned bracket_depth_ = 0;
  std::string pending_;  ///< a construct that the last piece cut off: some dozen bytes
  std::string resolved_;
};

}  // namespace trfilter
