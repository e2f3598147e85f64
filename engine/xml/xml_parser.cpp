#include "engine/xml/xml_parser.h"

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "engine/core/engine_error.h"
#include "engine/core/utf8.h"

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
  std::string encoding;
  bool stopped = false;

  ~State() {
    if (context != nullptr) {
      if (context->myDoc != nullptr) xmlFreeDoc(context->myDoc);
      xmlFreeParserCtxt(context);
    }
  }

  /// Runs a handler's function; nothing may be thrown through the C code of the parser.
  template <typename Function>
  void guarded(Function function) {
    if (thrown) return;
    try {
      function();
    } catch (...) {
      thrown = std::current_exception();
      xmlStopParser(context);
    }
  }

  static State& of(void* data) { return *static_cast<State*>(data); }

  static void on_start(void* data, const xmlChar* name, const xmlChar*, const xmlChar* uri, int,
                       const xmlChar**, int attribute_count, int, const xmlChar** attributes) {
    State& state = of(data);
    state.guarded([&] {
      state.handler->start_element(XmlElement(view(name), view(uri), attributes, attribute_count));
    });
  }

  static void on_end(void* data, const xmlChar* name, const xmlChar*, const xmlChar* uri) {
    State& state = of(data);
    state.guarded([&] { state.handler->end_element(view(name), view(uri)); });
  }

  static void on_characters(void* data, const xmlChar* text, int length) {
    State& state = of(data);
    state.guarded([&] {
      state.handler->characters({as_chars(text), static_cast<std::size_t>(length)});
    });
  }

  /// A reference to an entity that nothing declares here: XHTML's names are well known.
  static void on_reference(void* data, const xmlChar* name) {
    State& state = of(data);
    state.guarded([&] {
      const htmlEntityDesc* entity = htmlEntityLookup(name);
      if (entity == nullptr) return;
      std::string text;
      append_utf8(text, entity->value);
      state.handler->characters(text);
    });
  }

  static void ignore_error(void*, const char*, ...) {}
  static void ignore_structured(void*, xmlErrorPtr) {}

  void open(std::string_view first) {
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startElementNs = on_start;
    sax.endElementNs = on_end;
    sax.characters = on_characters;
    sax.cdataBlock = on_characters;
    sax.ignorableWhitespace = on_characters;
    sax.reference = on_reference;
    sax.warning = ignore_error;
    sax.error = ignore_error;
    sax.serror = ignore_structured;
    context =
        xmlCreatePushParserCtxt(&sax, this, first.data(), static_cast<int>(first.size()), nullptr);
    if (context == nullptr) throw EngineError(Code::out_of_memory, "no XML parser context");
    xmlCtxtUseOptions(context, XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_RECOVER |
                                   XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_COMPACT);
    context->replaceEntities = 1;
    if (!encoding.empty()) {
      if (auto* handler_of_name = xmlFindCharEncodingHandler(encoding.c_str())) {
        xmlSwitchToEncoding(context, handler_of_name);
      }
    }
  }
};

XmlParser::XmlParser(XmlHandler& handler, Limits& limits) : state_(std::make_unique<State>()) {
  state_->handler = &handler;
  state_->limits = &limits;
}

XmlParser::~XmlParser() = default;

void XmlParser::set_encoding(const char* name) {
  state_->encoding = name;
}

void XmlParser::feed(std::string_view bytes) {
  if (state_->context == nullptr) {
    // The first four bytes choose the encoding (XML 1.0, appendix F).
    const std::size_t first = state_->encoding.empty() ? std::min<std::size_t>(bytes.size(), 4) : 0;
    state_->open(bytes.substr(0, first));
    bytes.remove_prefix(first);
  }
  while (!bytes.empty() && !state_->stopped) {
    const std::string_view piece = bytes.substr(0, push_size);
    bytes.remove_prefix(piece.size());
    xmlParseChunk(state_->context, piece.data(), static_cast<int>(piece.size()), 0);
    if (state_->thrown) std::rethrow_exception(state_->thrown);
    state_->stopped = state_->context->disableSAX == 1 && state_->context->wellFormed == 0;
    state_->limits->check_time();
  }
}

void XmlParser::finish() {
  if (state_->context == nullptr) state_->open({});
  xmlParseChunk(state_->context, nullptr, 0, 1);
  if (state_->thrown) std::rethrow_exception(state_->thrown);
}

bool XmlParser::well_formed() const {
  return state_->context != nullptr && state_->context->wellFormed == 1;
}

}  // namespace trfilter
