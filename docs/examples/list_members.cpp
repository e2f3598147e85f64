// Lists a container's members. usage: list_members ENGINE_DIRECTORY DOCUMENT

#include <iostream>
#include <memory>

#include "api/tarnis_internal.h"
#include "wrapper/CTarnisDocumentProcessor.h"
#include "wrapper/CTarnisFilterWrapper.h"

int main(int argc, char** argv) try {
  if (argc != 3) return 2;
  const auto session = tarnis::CTarnisFilterWrapper().IFCreateSession(argv[1], true, nullptr);
  const auto input = std::make_shared<tarnis::CTarnisInputFileWrapper>(std::string(argv[2]));
  tarnis::CTarnisDocumentProcessor processor(session, input, nullptr);
  const tarnis::v1::Container members = processor.IFSubfiles();
  std::cout << members.size() << " members\n";
  for (auto member = members.begin(); member != members.end(); ++member) {
    std::cout << member->index() << ' ' << member->rawname() << ' ' << member->size() << ' '
              << tarnis::v1::internal::time::printWindowsFileTime(member->time()) << '\n';
    for (const auto& [name, value] : member->mail_metadata()) {
      std::cout << "  " << name << ": " << value << '\n';
    }
  }
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
