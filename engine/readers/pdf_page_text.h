#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/core/options.h"
#include "engine/core/text_sink.h"

namespace trfilter::pdf {

/// A direction in which text runs: a coordinate system of its own, `u` along the baseline in
/// reading direction and `v` across it, growing towards the next line. Units are points.
struct Frame {
  double cosine = 1;  ///< of the baseline's direction in page coordinates (y grows downwards)
  double sine = 0;
  bool mirrored = false;

  double u(double x, double y) const { return x * cosine + y * sine; }
  double v(double x, double y) const {
    const double across = y * cosine - x * sine;
    return mirrored ? -across : across;
  }
};

/// What one drawn character code shows, or several that belong together: a letter with its marks, a
/// ligature, a span with a replacement text.
struct Cluster {
  float u0 = 0;  ///< begin and end along the baseline, u0 <= u1
  float u1 = 0;
  float v = 0;             ///< the baseline
  std::uint32_t text = 0;  ///< offset in PageText's characters
  std::uint32_t bytes = 0;
};

/// Clusters without space between them.
struct Word {
  std::uint32_t first_cluster = 0;
  std::uint32_t cluster_count = 0;
};

/// Words on one baseline without a wide gap between them, in the order in which they were drawn: a
/// line of a column, a table cell.
struct Segment {
  std::uint32_t first_word = 0;
  std::uint32_t word_count = 0;
  std::uint32_t characters = 0;  ///< bytes of text
  float u0 = 0;
  float u1 = 0;
  float baseline = 0;
  float size = 0;                    ///< font size
  std::int32_t marked_content = -1;  ///< its identifier in the structure tree, -1: none
  std::uint8_t frame = 0;
  bool right_to_left = false;  ///< holds letters of a right-to-left script
  bool left_to_right = false;  ///< holds letters of other scripts
  bool annotation = false;     ///< drawn by an annotation: a form field's value, free text
  bool artifact = false;       ///< marked as no content of the document: page headers, numbers
  bool hidden = false;         ///< outside the page, or of a layer that is switched off

  float top() const { return baseline - 0.8F * size; }
  float bottom() const { return baseline + 0.25F * size; }
};

/// One drawn character code in page coordinates.
struct Drawn {
  double x = 0;  ///< begin of the baseline
  double y = 0;
  double dx = 0;  ///< advance, without character spacing
  double dy = 0;
  double character_spacing = 0;  ///< extra advance
  bool outside = false;          ///< of the page
};

/// Collects what is drawn on a page as words and segments, and writes it in an order.
class PageText {
 public:
  /// Character codes, and bytes of text, after which a page is written in parts: none exhausts
  /// memory.
  static constexpr std::size_t max_clusters = std::size_t{1} << 20;
  static constexpr std::size_t max_bytes = std::size_t{16} << 20;

  /// Forgets the page before, keeps its memory.
  void begin_page();
  /// Forgets what has been collected; more of the page may follow.
  void clear();
  bool full() const { return clusters_.size() >= max_clusters || characters_.size() >= max_bytes; }

  /// Text from now on runs so. @param size  font size in points
  void set_frame(const Frame& frame, double size);
  /// Text from now on is an annotation's, or the page's again.
  void set_annotation(bool on);
  /// Text from now on is hidden: it belongs to a layer that is switched off.
  void set_hidden(bool on);
  /// Text from now on belongs to that marked content.
  void set_marked_content(std::int32_t identifier, bool artifact);
  /// Adds one character code's text (valid UTF-8); empty: it has no meaning but takes its place.
  void add(const Drawn& drawn, std::string_view text);
  /// The last cluster reaches as far as this one too, which adds no text.
  void extend_last(const Drawn& drawn);
  /// Ends the last segment; needed before the collected is looked at.
  void finish();

  const std::vector<Segment>& segments() const { return segments_; }
  const std::vector<Frame>& frames() const { return frames_; }
  /// Text of a segment in logical order, with single spaces between words.
  std::string segment_text(const Segment& segment) const;
  void append_segment_text(const Segment& segment, std::string& out) const;

 private:
  /// A character code's text with its place in the frame.
  struct Placed {
    double u0;
    double u1;
    double v;
    double spacing;
    float size;
    bool hidden;
    bool space_before;
    bool space_after;
    std::string_view text;
  };

  void place(const Placed& placed);
  bool is_same(const Cluster& cluster, const Placed& placed) const;
  bool repeats(const Placed& placed);
  void forget_repeats();
  void place_repeats();
  bool continues_line(const Placed& placed, bool right_to_left, bool left_to_right);
  bool combine_with_last(const Placed& placed);
  void end_word();
  void end_segment();
  bool segment_drawn_before();
  /// Adds the segment to the one before when they are parts of one right-to-left line.
  bool merge_right_to_left();
  std::string_view text_of(const Cluster& cluster) const {
    return std::string_view(characters_).substr(cluster.text, cluster.bytes);
  }
  std::string_view text_of(const Word& word) const;
  void append_right_to_left(const Segment& segment, std::string& out) const;

  std::string characters_;
  std::vector<Cluster> clusters_;
  std::vector<Word> words_;
  std::vector<Segment> segments_;
  std::vector<Frame> frames_;
  /// Segments by text and rough place, to find text that is drawn twice.
  std::unordered_multimap<std::uint64_t, std::uint32_t> places_;

  // How text is being added.
  std::uint8_t frame_ = 0;
  float size_ = 10;
  bool annotation_ = false;
  bool hidden_ = false;
  bool artifact_ = false;
  std::int32_t marked_content_ = -1;

  // The segment and the word that are being added to.
  bool open_ = false;
  Segment segment_;
  Word word_;
  float line_u0_ = 0;  ///< the open segment's extent
  float line_u1_ = 0;
  int gaps_ = 0;                    ///< between the open segment's clusters,
  int pushed_gaps_ = 0;             ///< those that push letters together
  double pushed_sum_ = 0;           ///< and by how much in all
  bool space_due_ = false;          ///< a space was drawn after the last cluster
  float last_size_ = 0;             ///< the last cluster's font size
  double last_spacing_ = 0;         ///< extra advance after the last cluster
  bool right_to_left_met_ = false;  ///< the page holds letters of a right-to-left script

  // Text that has matched the end of the open segment so far: drawn again for boldness if all
  // matches.
  struct Repeated {
    Placed placed;       ///< without its text,
    std::uint32_t text;  ///< which is kept in `repeated_characters_`
    std::uint32_t bytes;
  };
  std::vector<Repeated> repeated_;
  std::string repeated_characters_;
  std::size_t repeat_next_ = 0;  ///< the cluster that must match next
};

}  // namespace trfilter::pdf
