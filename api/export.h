#pragma once

/// Marks what `libtrfilterwrapper.so` exports; everything else in it is hidden. A host sees the
/// same visibility, so that type information of exceptions and interfaces is one.
#define TARNIS_EXPORT __attribute__((visibility("default")))
