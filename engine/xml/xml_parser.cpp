#include "engine/xml/xml_parser.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <unordered_map>

#include "engine/charset/text_decoder.h"
#include "engine/core/engine_error.h"
#include "engine/xml/xml_encoding.h"
#include "engine/xml/xml_entities.h"

namespace trfilter {
namespace {

// The five pointers that libxml2 gives for each attribute.
constexpr int words_per_attribute = 5;
constexpr int local_name_word = 0;
constexpr int uri_word = 2;
constexpr int value_begin_word = 3;
constexpr int value_end_word = 4;

const char* as_chars(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

std::string_view view(const xmlChar* text) {
  return text == nullptr ? std::string_view{} : std::string_view(as_chars(text));
}

// Bytes pushed at once: libxml2 keeps what it has not parsed yet.
constexpr std::size_t push_size = std::size_t{64} << 10;

// What references to entities may add to a document: this much, and this many times its bytes.
constexpr std::uint64_t entity_floor = std::uint64_t{4} << 20;
constexpr std::uint64_t entity_ratio = 16;

/// How libxml2 is told the text of an entity. In content, the text of a "predefined" one is handed
/// on as it stands; in an attribute's value, that of a "general" one is, references in it resolved.
struct ParserEntity {
  std::string text;
  std::string escaped;
  xmlEntity content{};
  xmlEntity attribute{};
};

xmlChar* as_xml(std::string& text) {
  return reinterpret_cast<xmlChar*>(text.data());
}

void describe(xmlEntity& entity, std::string& name, std::string& text, xmlEntityType type) {
  entity.type = XML_ENTITY_DECL;
  entity.name = as_xml(name);
  entity.content = as_xml(text);
  entity.length = static_cast<int>(text.size());
  entity.etype = type;
  entity.checked = 2;  // it has been looked at, and holds no '<'
}

}  // namespace

XmlElement::Attribute XmlElement::attribute_at(int index) const {
  const unsigned char** words = attributes_ + index * words_per_attribute;
  const char* begin = as_chars(words[value_begin_word]);
  const char* end = as_chars(words[value_end_word]);
  return {view(words[local_name_word]), view(words[uri_word]),
          std::string_view(begin, static_cast<std::size_t>(end - begin))};
}

std::string_view XmlElement::attribute(std::string_view name) const {
  for (int i = 0; i < count_; ++i) {
    if (view(attributes_[i * words_per_attribute]) == name) return attribute_at(i).value;
  }
  return {};
}

bool XmlElement::has_attribute(std::string_view name) const {
  for (int i = 0; i < count_; ++i) {
    if (view(attributes_[i * words_per_attribute]) == name) return true;
  }
  return false;
}

struct XmlParser::State {
  XmlHandler* handler;
  Limits* limits;
  xmlParserCtxtPtr context = nullptr;
  std::exception_ptr thrown;

  const Encoding* told = nullptr;
  std::string head;  ///< bytes from before the encoding is known
  std::optional<TextDecoder> decoder;
  std::string without_nul;

  XmlEntities entities;
  std::unordered_map<std::string, ParserEntity> parser_entities;
  std::string unknown_name;
  std::uint64_t entity_bytes = 0;
  std::uint64_t fed_bytes = 0;

  bool more_roots = false;
  std::size_t depth = 0;
  bool root_begun = false;       ///< the parser at hand has met an element
  bool root_ended = false;       ///< the parser at hand has read its document
  bool had_root = false;         ///< some parser has
  std::size_t behind_root = 0;   ///< bytes of the piece at hand that lie behind it
  std::size_t behind_error = 0;  ///< bytes of the piece at hand that lie behind the last error
  bool damaged = false;
  bool finishing = false;
  bool stopped = false;
  std::string unread;

  ~State() { close(); }

  void close() {
    if (context == nullptr) return;
    if (context->myDoc != nullptr) xmlFreeDoc(context->myDoc);
    xmlFreeParserCtxt(context);
    context = nullptr;
  }

  /// Runs a handler's function; nothing may be thrown through the C code of the parser.
  template <typename Function>
  void guarded(Function function) {
    if (thrown || root_ended) return;
    // A parser that has met an error would resolve no more references.
    context->wellFormed = 1;
    try {
      function();
    } catch (...) {
      thrown = std::current_exception();
      xmlStopParser(context);
    }
  }

  std::size_t bytes_ahead() const {
    const xmlParserInputPtr input = context->input;
    if (input == nullptr || context->inputNr != 1) return 0;
    return static_cast<std::size_t>(input->end - input->cur);
  }

  static State& of(void* data) { return *static_cast<State*>(data); }

  static void on_start(void* data, const xmlChar* name, const xmlChar*, const xmlChar* uri, int,
                       const xmlChar**, int attribute_count, int, const xmlChar** attributes) {
    State& state = of(data);
    state.guarded([&] {
      ++state.depth;
      state.root_begun = true;
      state.handler->start_element(XmlElement(view(name), view(uri), attributes, attribute_count));
    });
  }

  static void on_end(void* data, const xmlChar* name, const xmlChar*, const xmlChar* uri) {
    State& state = of(data);
    state.guarded([&] {
      state.handler->end_element(view(name), view(uri));
      if (state.depth > 0 && --state.depth == 0) {
        state.had_root = true;
        if (state.more_roots) {
          state.root_ended = true;
          state.behind_root = state.bytes_ahead();
        }
      }
    });
  }

  static void on_characters(void* data, const xmlChar* text, int length) {
    State& state = of(data);
    state.guarded([&] {
      state.handler->characters({as_chars(text), static_cast<std::size_t>(length)});
    });
  }

  static void on_entity_declaration(void* data, const xmlChar* name, int type, const xmlChar*,
                                    const xmlChar*, xmlChar* content) {
    State& state = of(data);
    state.guarded([&] {
      if (type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY) return;
      const bool internal = type == XML_INTERNAL_GENERAL_ENTITY;
      state.entities.declare(view(name), internal ? view(content) : std::string_view{});
    });
  }

  static xmlEntityPtr on_entity(void* data, const xmlChar* name) {
    State& state = of(data);
    xmlEntityPtr result = nullptr;
    // While declarations are read, the parser only asks whether one is there already.
    if (state.context->inSubset != 0) return result;
    state.guarded([&] { result = state.entity(view(name)); });
    return result;
  }

  xmlEntityPtr entity(std::string_view name) {
    const auto [found, is_new] = parser_entities.try_emplace(std::string(name));
    ParserEntity& known = found->second;
    if (is_new) {
      if (const std::string* text = entities.text_of(name)) {
        known.text = *text;
      } else {
        // Nothing declares it here, perhaps a DTD elsewhere does: it stays as it stands.
        if (context->hasExternalSubset == 0 && context->hasPErefs == 0) damaged = true;
        known.text = "&" + std::string(name) + ";";
      }
      for (const char c : known.text) {
        if (c == '&') {
          known.escaped += "&#38;";
        } else if (c == '<') {
          known.escaped += "&#60;";
        } else {
          known.escaped.push_back(c);
        }
      }
      // The map's nodes stay where they are.
      describe(known.content, known.text, known.text, XML_INTERNAL_PREDEFINED_ENTITY);
      describe(known.attribute, known.text, known.escaped, XML_INTERNAL_GENERAL_ENTITY);
    }
    if (entities.overflowed()) damaged = true;
    entity_bytes += known.text.size();
    if (entity_bytes > entity_floor && entity_bytes / entity_ratio > fed_bytes) {
      throw EngineError(Code::corrupt, "entities make the document grow beyond its bound");
    }
    return context->instate == XML_PARSER_ATTRIBUTE_VALUE ? &known.attribute : &known.content;
  }

  static void on_error(void* data, xmlErrorPtr error) {
    State& state = of(data);
    if (state.root_ended || state.context == nullptr) return;
    // What breaks the rules of namespaces or validity still is well-formed.
    if (error->level < XML_ERR_ERROR || error->domain != XML_FROM_PARSER) return;
    if (error->code == XML_WAR_UNDECLARED_ENTITY) return;
    state.damaged = true;
    state.behind_error = state.bytes_ahead();
    if (state.finishing && state.behind_error != 0) {
      state.unread.assign(as_chars(state.context->input->cur),
                          std::min(state.behind_error, push_size));
    }
  }

  void open() {
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startElementNs = on_start;
    sax.endElementNs = on_end;
    sax.characters = on_characters;
    sax.cdataBlock = on_characters;
    sax.ignorableWhitespace = on_characters;
    sax.entityDecl = on_entity_declaration;
    sax.getEntity = on_entity;
    sax.serror = on_error;
    context = xmlCreatePushParserCtxt(&sax, this, nullptr, 0, nullptr);
    if (context == nullptr) throw EngineError(Code::out_of_memory, "no XML parser context");
    // The text is UTF-8 already, whatever its declaration says.
    xmlCtxtUseOptions(context, XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_RECOVER |
                                   XML_PARSE_COMPACT | XML_PARSE_IGNORE_ENC);
    xmlSwitchEncoding(context, XML_CHAR_ENCODING_UTF8);
    depth = 0;
    root_begun = false;
    root_ended = false;
    entities = {};
    parser_entities.clear();
  }

  /// Finds the encoding once enough of the document is there.
  /// @return what follows the byte-order mark, out of `head`
  std::string_view start_decoding() {
    const XmlEncoding found = xml_encoding(head);
    decoder.emplace(told != nullptr ? *told : *found.encoding);
    const bool skip = told == nullptr || told == found.encoding;
    return std::string_view(head).substr(skip ? found.mark_length : 0);
  }

  void feed(std::string_view bytes, bool last) {
    if (!decoder) {
      head.append(bytes);
      if (!last && !has_xml_declaration_ended(head)) return;
      parse_bytes(start_decoding(), last);
      head = {};
      return;
    }
    parse_bytes(bytes, last);
  }

  void parse_bytes(std::string_view bytes, bool last) {
    do {
      const std::string_view piece = bytes.substr(0, push_size);
      bytes.remove_prefix(piece.size());
      parse(decode(piece, last && bytes.empty()));
      limits->check_time();
    } while (!bytes.empty() && !stopped);
    if (stopped) unread.append(decode(bytes, last));
  }

  /// UTF-8 without NUL characters: the parser ends at one.
  std::string_view decode(std::string_view bytes, bool last) {
    const std::string_view text = decoder->decode(bytes, last);
    if (text.find('\0') == std::string_view::npos) return text;
    damaged = true;
    without_nul = text;
    std::erase(without_nul, '\0');
    return without_nul;
  }

  void parse(std::string_view text) {
    while (!text.empty() && !stopped) {
      if (context == nullptr) {
        // Blanks before a document are no error of it.
        const std::size_t begin = text.find_first_not_of(" \t\r\n");
        if (begin == std::string_view::npos) return;
        text.remove_prefix(begin);
        open();
      }
      const std::string_view piece = text.substr(0, push_size);
      behind_error = 0;
      fed_bytes += piece.size();
      xmlParseChunk(context, piece.data(), static_cast<int>(piece.size()), 0);
      if (thrown) std::rethrow_exception(thrown);
      if (root_ended && behind_root <= text.size()) {
        text.remove_prefix(piece.size() - std::min(behind_root, piece.size()));
        close();
        continue;
      }
      text.remove_prefix(piece.size());
      if (context->instate == XML_PARSER_EOF) {
        stopped = true;
        damaged = true;
        unread = piece.substr(piece.size() - std::min(behind_error, piece.size()));
        unread.append(text);
        return;
      }
    }
  }
};

XmlParser::XmlParser(XmlHandler& handler, Limits& limits) : state_(std::make_unique<State>()) {
  state_->handler = &handler;
  state_->limits = &limits;
}

XmlParser::~XmlParser() = default;

void XmlParser::set_encoding(const Encoding& encoding) {
  state_->told = &encoding;
}

void XmlParser::allow_more_roots() {
  state_->more_roots = true;
}

void XmlParser::feed(std::string_view bytes) {
  if (!bytes.empty() && !state_->stopped) state_->feed(bytes, false);
}

void XmlParser::finish() {
  State& state = *state_;
  if (state.stopped) return;
  state.feed({}, true);
  if (state.context != nullptr && !state.stopped) {
    // Behind a document, comments and instructions may stand without another one.
    if (state.had_root && !state.root_begun && state.bytes_ahead() == 0) return;
    // A single byte of text would not come out.
    if (state.depth != 0 && state.bytes_ahead() == 1) xmlParseChunk(state.context, "\n", 1, 0);
    state.finishing = true;
    xmlParseChunk(state.context, nullptr, 0, 1);
    if (state.thrown) std::rethrow_exception(state.thrown);
    state.stopped = state.damaged && state.context->instate == XML_PARSER_EOF;
  }
  if (!state.had_root) state.damaged = true;
}

bool XmlParser::well_formed() const {
  return !state_->damaged;
}

bool XmlParser::stopped() const {
  return state_->stopped;
}

std::string_view XmlParser::unread() const {
  return state_->unread;
}

std::string_view XmlParser::decode(std::string_view bytes, bool last) {
  return state_->decode(bytes, last);
}

}  // namespace trfilter
