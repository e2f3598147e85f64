#pragma once

#include "engine/readers/revenge_events.h"

namespace trfilter::revenge {

/// The packed objects of libmwaw and libstaroffice: drawings and sheets within texts.
class LibraryObjects final : public PackedObjects {
 public:
  static constexpr unsigned deepest = 4;

  LibraryObjects(ParseState& state, Story& story) : state_(state), story_(story) {}

  void unpack(const librevenge::RVNGPropertyList& object) override;

 private:
  ParseState& state_;
  Story& story_;
  unsigned depth_ = 0;
};

}  // namespace trfilter::revenge
