// A worker that ends before it has said anything.
int main() {
  return 1;
}
