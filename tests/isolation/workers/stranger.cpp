#include <unistd.h>

#include <cstring>

// A worker of another engine: what it says first is well formed, and not what ours says.
int main() {
  struct {
    unsigned kind = 1;
    unsigned document = 0;
    unsigned long request = 0;
    unsigned length = 20;
    unsigned peak_memory = 0;
    char payload[20] = {};
  } packet;
  std::memcpy(packet.payload, "OTHERWRK", 8);
  [[maybe_unused]] const ssize_t sent = ::write(3, &packet, sizeof packet);
  char block[65536];
  while (::read(3, block, sizeof block) > 0) {
  }
  return 0;
}
