// Tells what a document is. usage: detect_format ENGINE_DIRECTORY DOCUMENT

#include <iostream>
#include <memory>

#include "wrapper/CTarnisFilterWrapper.h"

int main(int argc, char** argv) try {
  if (argc != 3) return 2;
  const auto session = tarnis::CTarnisFilterWrapper().IFCreateSession(argv[1], true, nullptr);
  const auto input = std::make_shared<tarnis::CTarnisInputFileWrapper>(std::string(argv[2]));
  const auto info = tarnis::CTarnisDetectionInfoWrapper(session, input).get();
  std::cout << info->description() << ", " << info->category_name() << ", "
            << (info->encrypted() ? "encrypted" : "not encrypted") << '\n';
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
