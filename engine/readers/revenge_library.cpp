// Which library reads which format. The libraries' own detection is asked only where it tells what
// kind of document a format's file is.

#include "engine/readers/revenge_library.h"

#include <libcdr/libcdr.h>
#include <libetonyek/libetonyek.h>
#include <libfreehand/libfreehand.h>
#include <libmspub/libmspub.h>
#include <libpagemaker/libpagemaker.h>
#include <libqxp/libqxp.h>
#include <libvisio/libvisio.h>
#include <libwpd/libwpd.h>
#include <libwpg/libwpg.h>
#include <libwps/libwps.h>
#include <libmwaw/libmwaw.hxx>
#include <libstaroffice/libstaroffice.hxx>

#include <string>
#include <string_view>

#include "engine/core/fields.h"
#include "engine/readers/revenge_generators.h"

namespace trfilter::revenge {
namespace {

/// One document being read.
struct Task {
  InputStream& input;
  const ReaderContext& context;
  const Target& target;

  Format format() const { return context.detection.format; }
  const char* password() const { return context.options.password.c_str(); }
  const char* password_or_null() const {
    return context.options.password.empty() ? nullptr : password();
  }
};

Outcome outcome_of(bool complete) {
  return complete ? Outcome::complete : Outcome::damaged;
}

Outcome read_wordperfect(const Task& task) {
  // The prefix of all files of WordPerfect has a key of the password, 0 without one.
  constexpr std::size_t key_offset = 12;
  const std::string_view prefix = task.context.document.head(key_offset + 2);
  const bool has_password = prefix.starts_with("\xFFWPC") && le16(prefix, key_offset) != 0;
  if (has_password && libwpd::WPDocument::verifyPassword(&task.input, task.password()) !=
                          libwpd::WPD_PASSWORD_MATCH_OK) {
    return Outcome::password;
  }
  TextGenerator generator(task.target);
  switch (libwpd::WPDocument::parse(&task.input, &generator, task.password_or_null())) {
    case libwpd::WPD_OK:
      return Outcome::complete;
    case libwpd::WPD_UNSUPPORTED_ENCRYPTION_ERROR:
    case libwpd::WPD_PASSWORD_MISSMATCH_ERROR:
      return Outcome::password;
    default:
      return Outcome::damaged;
  }
}

Outcome read_wordperfect_graphics(const Task& task) {
  DrawingGenerator generator(task.target);
  return outcome_of(libwpg::WPGraphics::parse(&task.input, &generator));
}

Outcome outcome_of(libwps::WPSResult result) {
  if (result == libwps::WPS_OK) return Outcome::complete;
  return result == libwps::WPS_ENCRYPTION_ERROR ? Outcome::password : Outcome::damaged;
}

/// The set of a document that does not name one.
std::string works_character_set(const Task& task) {
  constexpr std::uint32_t first_windows_page = 1250;
  constexpr std::uint32_t last_windows_page = 1258;
  const std::uint32_t page = task.context.options.source_encoding;
  const bool known = (page >= first_windows_page && page <= last_windows_page) || page == 437 ||
                     page == 737 || page == 775 || page == 850 || page == 852 || page == 855 ||
                     page == 857 || (page >= 860 && page <= 866) || page == 869 || page == 874 ||
                     page == 932 || page == 950;
  return known ? "CP" + std::to_string(page) : std::string();
}

Outcome read_works_text(const Task& task) {
  TextGenerator generator(task.target);
  return outcome_of(libwps::WPSDocument::parse(&task.input, &generator, task.password(),
                                               works_character_set(task).c_str()));
}

/// A cell of ten bytes takes the library five hundred.
constexpr std::uint64_t most_sheet_bytes = std::uint64_t{32} << 20;

Outcome read_works_sheet(const Task& task) {
  if (task.context.document.size() > most_sheet_bytes) {
    throw EngineError(Code::out_of_memory, "a worksheet of this size takes too much memory");
  }
  SpreadsheetGenerator generator(task.target);
  return outcome_of(libwps::WPSDocument::parse(&task.input, &generator, task.password(),
                                               works_character_set(task).c_str()));
}

Outcome read_visio(const Task& task) {
  DrawingGenerator generator(task.target);
  const bool drawing = libvisio::VisioDocument::parse(&task.input, &generator);
  if (task.target.story.sink().has_text() || task.target.state.ended()) return outcome_of(drawing);
  // A file of stencils has no pages, only shapes to make some of.
  const bool stencils = libvisio::VisioDocument::parseStencils(&task.input, &generator);
  return outcome_of(drawing || stencils);
}

Outcome read_publisher(const Task& task) {
  DrawingGenerator generator(task.target);
  if (!libmspub::MSPUBDocument::isSupported(&task.input)) return Outcome::unsupported;
  return outcome_of(libmspub::MSPUBDocument::parse(&task.input, &generator));
}

Outcome read_corel_draw(const Task& task) {
  DrawingGenerator generator(task.target);
  return outcome_of(libcdr::CDRDocument::parse(&task.input, &generator));
}

Outcome read_corel_exchange(const Task& task) {
  DrawingGenerator generator(task.target);
  return outcome_of(libcdr::CMXDocument::parse(&task.input, &generator));
}

Outcome read_pagemaker(const Task& task) {
  if (!libpagemaker::PMDocument::isSupported(&task.input)) return Outcome::unsupported;
  DrawingGenerator generator(task.target);
  return outcome_of(libpagemaker::PMDocument::parse(&task.input, &generator));
}

Outcome read_quark(const Task& task) {
  DrawingGenerator generator(task.target);
  switch (libqxp::QXPDocument::parse(&task.input, &generator)) {
    case libqxp::QXPDocument::RESULT_OK:
      return Outcome::complete;
    case libqxp::QXPDocument::RESULT_UNSUPPORTED_FORMAT:
      return Outcome::unsupported;
    default:
      return Outcome::damaged;
  }
}

template <typename Generator>
Outcome read_iwork(const Task& task) {
  Generator generator(task.target);
  return outcome_of(libetonyek::EtonyekDocument::parse(&task.input, &generator));
}

template <typename Generator>
Outcome read_staroffice_with(const Task& task) {
  Generator generator(task.target);
  switch (STOFFDocument::parse(&task.input, &generator, task.password_or_null())) {
    case STOFFDocument::STOFF_R_OK:
      return Outcome::complete;
    case STOFFDocument::STOFF_R_PASSWORD_MISSMATCH_ERROR:
      return Outcome::password;
    default:
      return Outcome::damaged;
  }
}

Outcome read_staroffice(const Task& task) {
  STOFFDocument::Kind kind = STOFFDocument::STOFF_K_UNKNOWN;
  switch (STOFFDocument::isFileFormatSupported(&task.input, kind)) {
    case STOFFDocument::STOFF_C_NONE:
      return Outcome::unsupported;
    case STOFFDocument::STOFF_C_UNSUPPORTED_ENCRYPTION:
      return Outcome::password;
    default:
      break;
  }
  switch (kind) {
    case STOFFDocument::STOFF_K_TEXT:
      return read_staroffice_with<TextGenerator>(task);
    case STOFFDocument::STOFF_K_SPREADSHEET:
      return read_staroffice_with<SpreadsheetGenerator>(task);
    case STOFFDocument::STOFF_K_PRESENTATION:
      return read_staroffice_with<PresentationGenerator>(task);
    case STOFFDocument::STOFF_K_DRAW:
    case STOFFDocument::STOFF_K_GRAPHIC:
      return read_staroffice_with<DrawingGenerator>(task);
    default:
      return Outcome::unsupported;
  }
}

template <typename Generator>
Outcome read_macintosh_with(const Task& task) {
  Generator generator(task.target);
  switch (MWAWDocument::parse(&task.input, &generator, task.password_or_null())) {
    case MWAWDocument::MWAW_R_OK:
      return Outcome::complete;
    case MWAWDocument::MWAW_R_PASSWORD_MISSMATCH_ERROR:
      return Outcome::password;
    default:
      return Outcome::damaged;
  }
}

Outcome read_macintosh(const Task& task) {
  MWAWDocument::Type type = MWAWDocument::MWAW_T_UNKNOWN;
  MWAWDocument::Kind kind = MWAWDocument::MWAW_K_UNKNOWN;
  switch (MWAWDocument::isFileFormatSupported(&task.input, type, kind)) {
    case MWAWDocument::MWAW_C_NONE:
      return Outcome::unsupported;
    case MWAWDocument::MWAW_C_UNSUPPORTED_ENCRYPTION:
      return Outcome::password;
    default:
      break;
  }
  switch (kind) {
    case MWAWDocument::MWAW_K_TEXT:
      return read_macintosh_with<TextGenerator>(task);
    case MWAWDocument::MWAW_K_SPREADSHEET:
    case MWAWDocument::MWAW_K_DATABASE:
      return read_macintosh_with<SpreadsheetGenerator>(task);
    case MWAWDocument::MWAW_K_PRESENTATION:
      return read_macintosh_with<PresentationGenerator>(task);
    case MWAWDocument::MWAW_K_DRAW:
    case MWAWDocument::MWAW_K_PAINT:
      return read_macintosh_with<DrawingGenerator>(task);
    default:
      return Outcome::unsupported;
  }
}

Outcome read_freehand(const Task& task) {
  if (!libfreehand::FreeHandDocument::isSupported(&task.input)) return Outcome::unsupported;
  DrawingGenerator generator(task.target);
  return outcome_of(libfreehand::FreeHandDocument::parse(&task.input, &generator));
}

using Read = Outcome (*)(const Task&);

Read library_of(Format format) {
  switch (format) {
    case Format::wordperfect:
    case Format::wordperfect_mac:
      return read_wordperfect;
    case Format::wordperfect_graphics:
      return read_wordperfect_graphics;
    case Format::works_dos_text:
    case Format::works_windows_text:
    case Format::windows_write:
    case Format::word_dos:
    case Format::pocket_word:
      return read_works_text;
    case Format::works_dos_database:
    case Format::works_dos_spreadsheet:
    case Format::works_windows_database:
    case Format::works_windows_spreadsheet:
    case Format::symphony:
    case Format::lotus_123:
    case Format::lotus_123_97:
    case Format::lotus_123_9:
    case Format::quattro_dos:
    case Format::quattro_windows:
    case Format::quattro_9:
      return read_works_sheet;
    case Format::visio:
    case Format::visio_drawing:
    case Format::visio_drawing_macro:
    case Format::visio_stencil:
    case Format::visio_stencil_macro:
    case Format::visio_template:
    case Format::visio_template_macro:
      return read_visio;
    case Format::publisher:
    case Format::publisher_98:
      return read_publisher;
    case Format::corel_draw:
      return read_corel_draw;
    case Format::corel_cmx:
      return read_corel_exchange;
    case Format::pagemaker_mac:
    case Format::pagemaker_windows:
      return read_pagemaker;
    case Format::quark_xpress:
      return read_quark;
    case Format::freehand_mac:
      return read_freehand;
    case Format::pages:
    case Format::pages_2013:
      return read_iwork<TextGenerator>;
    case Format::numbers:
    case Format::numbers_2013:
      return read_iwork<SpreadsheetGenerator>;
    case Format::keynote:
    case Format::keynote_2013:
      return read_iwork<PresentationGenerator>;
    case Format::staroffice_binary:
      return read_staroffice;
    default:
      return read_macintosh;
  }
}

}  // namespace

Outcome read_with_library(InputStream& input, const ReaderContext& context, const Target& target) {
  return library_of(context.detection.format)({input, context, target});
}

}  // namespace trfilter::revenge
