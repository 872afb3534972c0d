// SPDX-License-Identifier: Apache-2.0

// Calls the function of the page. It stands before this, and so do its headers.
int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string config(std::istreambuf_iterator<char>(std::cin), {});
  try {
    std::cout << Moved(config, argv[1]);
  } catch (const std::runtime_error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
