// A worker that knows its host for a stranger.
int main() {
  return 103;
}
