#pragma once

/// Marks what a shared library made of this folder exports; everything else in it is hidden.
#define OSTREL_EXPORT __attribute__((visibility("default")))
