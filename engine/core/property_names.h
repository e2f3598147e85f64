#pragma once

#include <string_view>

/// The names of properties, the same for all formats: a reader adds a fact under the name that
/// stands here and no other. docs/properties.md tells where each comes from; a test compares the
/// two. What a user or a format names by itself keeps its own name.
namespace trfilter::property {

// What the document is and who made it.
inline constexpr std::string_view title = "Title";
inline constexpr std::string_view subject = "Subject";
inline constexpr std::string_view author = "Author";
inline constexpr std::string_view keywords = "Keywords";
inline constexpr std::string_view comments = "Comments";
inline constexpr std::string_view category = "Category";
inline constexpr std::string_view manager = "Manager";
inline constexpr std::string_view company = "Company";
inline constexpr std::string_view last_author = "LastAuthor";
inline constexpr std::string_view last_printed_by = "LastPrintedBy";
inline constexpr std::string_view contributor = "Contributor";
inline constexpr std::string_view publisher = "Publisher";
inline constexpr std::string_view copyright = "Copyright";
inline constexpr std::string_view source = "Source";
inline constexpr std::string_view relation = "Relation";
inline constexpr std::string_view coverage = "Coverage";
inline constexpr std::string_view document_type = "DocumentType";
inline constexpr std::string_view language = "Language";
inline constexpr std::string_view identifier = "Identifier";
inline constexpr std::string_view version = "Version";
inline constexpr std::string_view content_status = "ContentStatus";
inline constexpr std::string_view hyperlink_base = "HyperlinkBase";

// Times, all of them of the type time.
inline constexpr std::string_view created = "Created";
inline constexpr std::string_view last_saved = "LastSaved";
inline constexpr std::string_view last_printed = "LastPrinted";
inline constexpr std::string_view published = "Published";

// The program and its work.
inline constexpr std::string_view application = "Application";
inline constexpr std::string_view application_version = "ApplicationVersion";
inline constexpr std::string_view producer = "Producer";
inline constexpr std::string_view document_template = "Template";
inline constexpr std::string_view revision = "Revision";
inline constexpr std::string_view edit_time = "EditTime";
inline constexpr std::string_view security = "Security";
inline constexpr std::string_view presentation_format = "PresentationFormat";

// Counts.
inline constexpr std::string_view page_count = "PageCount";
inline constexpr std::string_view word_count = "WordCount";
inline constexpr std::string_view character_count = "CharacterCount";
inline constexpr std::string_view character_count_with_spaces = "CharacterCountWithSpaces";
inline constexpr std::string_view line_count = "LineCount";
inline constexpr std::string_view paragraph_count = "ParagraphCount";
inline constexpr std::string_view byte_count = "ByteCount";
inline constexpr std::string_view slide_count = "SlideCount";
inline constexpr std::string_view hidden_slide_count = "HiddenSlideCount";
inline constexpr std::string_view note_count = "NoteCount";
inline constexpr std::string_view multimedia_clip_count = "MultimediaClipCount";
inline constexpr std::string_view table_count = "TableCount";
inline constexpr std::string_view image_count = "ImageCount";
inline constexpr std::string_view object_count = "ObjectCount";
inline constexpr std::string_view cell_count = "CellCount";

// Messages.
inline constexpr std::string_view reply_to = "ReplyTo";
inline constexpr std::string_view to = "To";
inline constexpr std::string_view cc = "Cc";
inline constexpr std::string_view bcc = "Bcc";
inline constexpr std::string_view received = "Received";

// Pictures and film.
inline constexpr std::string_view width = "Width";
inline constexpr std::string_view height = "Height";
inline constexpr std::string_view bit_depth = "BitDepth";
inline constexpr std::string_view color_space = "ColorSpace";
inline constexpr std::string_view horizontal_resolution = "HorizontalResolution";
inline constexpr std::string_view vertical_resolution = "VerticalResolution";
inline constexpr std::string_view orientation = "Orientation";
inline constexpr std::string_view camera_make = "CameraMake";
inline constexpr std::string_view camera_model = "CameraModel";
inline constexpr std::string_view lens = "Lens";
inline constexpr std::string_view exposure_time = "ExposureTime";
inline constexpr std::string_view f_number = "FNumber";
inline constexpr std::string_view focal_length = "FocalLength";
inline constexpr std::string_view iso_speed = "IsoSpeed";
inline constexpr std::string_view flash = "Flash";
inline constexpr std::string_view latitude = "Latitude";
inline constexpr std::string_view longitude = "Longitude";
inline constexpr std::string_view altitude = "Altitude";
inline constexpr std::string_view frame_rate = "FrameRate";
inline constexpr std::string_view video_codec = "VideoCodec";

// Sound.
inline constexpr std::string_view artist = "Artist";
inline constexpr std::string_view album = "Album";
inline constexpr std::string_view album_artist = "AlbumArtist";
inline constexpr std::string_view composer = "Composer";
inline constexpr std::string_view genre = "Genre";
inline constexpr std::string_view track_number = "TrackNumber";
inline constexpr std::string_view disc_number = "DiscNumber";
inline constexpr std::string_view compilation = "Compilation";
inline constexpr std::string_view release_date = "ReleaseDate";
inline constexpr std::string_view duration = "Duration";
inline constexpr std::string_view bit_rate = "BitRate";
inline constexpr std::string_view sample_rate = "SampleRate";
inline constexpr std::string_view channel_count = "ChannelCount";
inline constexpr std::string_view audio_codec = "AudioCodec";

}  // namespace trfilter::property
