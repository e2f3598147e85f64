// Sound, and film in the containers that sound shares: tags and technical facts, through TagLib.
// ID3 (id3.org), Vorbis comments (xiph.org), MP4 and ASF metadata, RIFF and AIFF chunks.
//
// There is no text. Covers are members, of the formats that keep them as a picture of its own.
//
// Bounds: TagLib reads tags whole; a read of more than 64 MiB gives nothing.

#include <aifffile.h>
#include <apefile.h>
#include <apetag.h>
#include <asffile.h>
#include <asfpicture.h>
#include <attachedpictureframe.h>
#include <fileref.h>
#include <flacfile.h>
#include <id3v2tag.h>
#include <mp4coverart.h>
#include <mp4file.h>
#include <mpegfile.h>
#include <opusfile.h>
#include <speexfile.h>
#include <tdebuglistener.h>
#include <tpropertymap.h>
#include <trueaudiofile.h>
#include <vorbisfile.h>
#include <wavfile.h>

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <string>
#include <utility>

#include "engine/core/embedded_files.h"
#include "engine/core/media_extension.h"
#include "engine/core/property_names.h"
#include "engine/core/reader.h"

namespace trfilter {
namespace {

/// A document as TagLib reads one. Nothing is ever written. The library loses what it holds when an
/// exception passes through it: after one the document is at its end instead, and `check` throws.
class DocumentStream final : public TagLib::IOStream {
 public:
  explicit DocumentStream(const ReaderContext& context) : context_(context) {}

  TagLib::FileName name() const override { return ""; }

  TagLib::ByteVector readBlock(unsigned long length) override {
    try {
      return read(length);
    } catch (...) {
      failure_ = std::current_exception();
      return {};
    }
  }

  void writeBlock(const TagLib::ByteVector&) override {}
  void insert(const TagLib::ByteVector&, unsigned long, unsigned long) override {}
  void removeBlock(unsigned long, unsigned long) override {}
  bool readOnly() const override { return true; }
  bool isOpen() const override { return true; }

  void seek(long offset, Position from) override {
    long base = 0;
    if (from == Current) base = position_;
    if (from == End) base = length();
    if (__builtin_add_overflow(base, offset, &position_) || position_ < 0) position_ = 0;
  }

  long tell() const override { return position_; }
  long length() override { return failure_ ? 0 : static_cast<long>(context_.document.size()); }
  void truncate(long) override {}

  /// @throws what a read has thrown
  void check() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  TagLib::ByteVector read(unsigned long length) {
    constexpr unsigned long most_bytes = 64ul << 20;
    context_.limits.check_time();
    const long size = this->length();
    if (position_ >= size || length > most_bytes) return {};
    length = std::min(length, static_cast<unsigned long>(size - position_));
    TagLib::ByteVector block(static_cast<unsigned>(length));
    const std::size_t count = context_.document.read_at(static_cast<std::uint64_t>(position_),
                                                        {block.data(), block.size()});
    block.resize(static_cast<unsigned>(count));
    position_ += static_cast<long>(count);
    return block;
  }

  const ReaderContext& context_;
  long position_ = 0;
  std::exception_ptr failure_;
};

/// TagLib tells what it finds wrong on standard error, which is the host's.
class Silence final : public TagLib::DebugListener {
 public:
  void printMessage(const TagLib::String&) override {}
  static void keep() {
    static Silence instance;
    TagLib::setDebugListener(&instance);
  }
};

struct Row {
  const char* key;  ///< of TagLib's map of properties
  std::string_view property;
};

constexpr auto text_rows = std::to_array<Row>({
    {"TITLE", property::title},
    {"ARTIST", property::artist},
    {"ALBUM", property::album},
    {"ALBUMARTIST", property::album_artist},
    {"COMPOSER", property::composer},
    {"GENRE", property::genre},
    {"DATE", property::release_date},
    {"TRACKNUMBER", property::track_number},
    {"DISCNUMBER", property::disc_number},
    {"COMPILATION", property::compilation},
    {"COPYRIGHT", property::copyright},
    {"LABEL", property::publisher},
    {"LANGUAGE", property::language},
    {"ENCODING", property::application},
    {"ENCODEDBY", property::producer},
});

constexpr std::string_view comment_key = "COMMENT";

std::string utf8(const TagLib::String& text) {
  return text.stripWhiteSpace().to8Bit(true);
}

/// One picture of a tag.
struct Cover {
  std::string extension;
  TagLib::ByteVector bytes;
};

Cover cover_of(const TagLib::ByteVector& bytes) {
  const std::string_view head(bytes.data(), std::min(bytes.size(), 64u));
  return {std::string(media_extension(head)), bytes};
}

void add_covers(TagLib::ID3v2::Tag* tag, std::vector<Cover>& covers) {
  if (tag == nullptr) return;
  for (const auto* frame : tag->frameList("APIC")) {
    const auto* picture = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame*>(frame);
    if (picture != nullptr) covers.push_back(cover_of(picture->picture()));
  }
}

void add_covers(const TagLib::List<TagLib::FLAC::Picture*>& pictures, std::vector<Cover>& covers) {
  for (const auto* picture : pictures) covers.push_back(cover_of(picture->data()));
}

std::vector<Cover> covers_of(TagLib::File* file) {
  namespace T = TagLib;
  std::vector<Cover> covers;
  if (auto* mpeg = dynamic_cast<T::MPEG::File*>(file)) {
    add_covers(mpeg->ID3v2Tag(), covers);
  } else if (auto* flac = dynamic_cast<T::FLAC::File*>(file)) {
    add_covers(flac->pictureList(), covers);
    add_covers(flac->hasID3v2Tag() ? flac->ID3v2Tag() : nullptr, covers);
  } else if (auto* mp4 = dynamic_cast<T::MP4::File*>(file)) {
    if (mp4->tag() == nullptr || !mp4->tag()->contains("covr")) return covers;
    for (const T::MP4::CoverArt& art : mp4->tag()->item("covr").toCoverArtList()) {
      covers.push_back(cover_of(art.data()));
    }
  } else if (auto* wave = dynamic_cast<T::RIFF::WAV::File*>(file)) {
    add_covers(wave->ID3v2Tag(), covers);
  } else if (auto* aiff = dynamic_cast<T::RIFF::AIFF::File*>(file)) {
    add_covers(aiff->hasID3v2Tag() ? aiff->tag() : nullptr, covers);
  } else if (auto* asf = dynamic_cast<T::ASF::File*>(file)) {
    if (asf->tag() == nullptr) return covers;
    for (const T::ASF::Attribute& attribute : asf->tag()->attribute("WM/Picture")) {
      covers.push_back(cover_of(attribute.toPicture().picture()));
    }
  } else if (file != nullptr) {
    if (auto* comment = dynamic_cast<T::Ogg::XiphComment*>(file->tag())) {
      add_covers(comment->pictureList(), covers);
    }
  }
  std::erase_if(covers, [](const Cover& cover) { return cover.bytes.isEmpty(); });
  return covers;
}

constexpr int most_kilobits = std::numeric_limits<int>::max() / 1000;

class AudioReader final : public Reader {
 public:
  explicit AudioReader(const ReaderContext& context) : context_(context), stream_(context_) {}

  bool step(TextSink& /*sink*/) override {
    throw EngineError(Code::unsupported_format, "sound has no text");
  }

  void properties(Properties& properties) override {
    open();
    if (reference_.isNull()) throw EngineError(Code::corrupt, "the sound file cannot be read");
    const TagLib::PropertyMap tags = reference_.file()->properties();
    for (const Row& row : text_rows) {
      if (!tags.contains(row.key)) continue;
      for (const TagLib::String& text : tags[row.key]) {
        properties.add(std::string(row.property), utf8(text));
      }
    }
    for (const auto& [key, values] : tags) {
      // A comment with a description has it behind a colon.
      const std::string name = key.to8Bit(true);
      if (name != comment_key && !name.starts_with(std::string(comment_key) + ":")) continue;
      for (const TagLib::String& text : values) {
        properties.add(std::string(property::comments), utf8(text));
      }
    }
    add_technical_facts(properties);
  }

  std::unique_ptr<Subfiles> subfiles() override {
    open();
    if (reference_.isNull()) return nullptr;
    std::vector<Cover> covers = covers_of(reference_.file());
    if (covers.empty()) return nullptr;
    auto files = std::make_unique<EmbeddedFiles>();
    unsigned number = 0;
    for (Cover& cover : covers) {
      EmbeddedFiles::File file;
      file.name = "cover" + std::to_string(++number) + cover.extension;
      file.path = file.name;
      file.size = cover.bytes.size();
      files->add(std::move(file), [bytes = cover.bytes](ByteOutput& output) {
        output.write({bytes.data(), bytes.size()});
      });
    }
    files->settle_names(context_.limits);
    return files;
  }

 private:
  void open() {
    stream_.check();
    if (!reference_.isNull()) return;
    Silence::keep();
    if (context_.detection.format == Format::mpeg_audio) {
      // By its content alone, frames behind a tag could be those of another format.
      reference_ = TagLib::FileRef(
          new TagLib::MPEG::File(&stream_, TagLib::ID3v2::FrameFactory::instance()));
    } else {
      reference_ = TagLib::FileRef(&stream_);
    }
    stream_.check();
  }

  /// How the sound is encoded, as far as the format leaves a choice or has a name for it.
  static std::string codec_of(const TagLib::AudioProperties& audio) {
    namespace T = TagLib;
    if (const auto* mpeg = dynamic_cast<const T::MPEG::Properties*>(&audio)) {
      return "MP" + std::to_string(mpeg->layer());
    }
    if (const auto* mp4 = dynamic_cast<const T::MP4::Properties*>(&audio)) {
      if (mp4->codec() == T::MP4::Properties::AAC) return "AAC";
      return mp4->codec() == T::MP4::Properties::ALAC ? "ALAC" : "";
    }
    if (dynamic_cast<const T::FLAC::Properties*>(&audio) != nullptr) return "FLAC";
    if (dynamic_cast<const T::Vorbis::Properties*>(&audio) != nullptr) return "Vorbis";
    if (dynamic_cast<const T::Ogg::Opus::Properties*>(&audio) != nullptr) return "Opus";
    if (dynamic_cast<const T::Ogg::Speex::Properties*>(&audio) != nullptr) return "Speex";
    return {};
  }

  void add_technical_facts(Properties& properties) const {
    const TagLib::AudioProperties* audio = reference_.file()->audioProperties();
    if (audio == nullptr) return;
    properties.add(std::string(property::audio_codec), codec_of(*audio));
    const auto add = [&](std::string_view name, int value) {
      if (value > 0) properties.add(std::string(name), std::int32_t{value});
    };
    constexpr double milliseconds = 1000.0;
    if (audio->lengthInMilliseconds() > 0) {
      properties.add(std::string(property::duration), audio->lengthInMilliseconds() / milliseconds);
    }
    constexpr int bits_of_kilobit = 1000;
    add(property::bit_rate, std::min(audio->bitrate(), most_kilobits) * bits_of_kilobit);
    add(property::sample_rate, audio->sampleRate());
    add(property::channel_count, audio->channels());
  }

  const ReaderContext context_;
  DocumentStream stream_;
  TagLib::FileRef reference_;
};

}  // namespace
}  // namespace trfilter

TRFILTER_READER(audio, trfilter::AudioReader)
