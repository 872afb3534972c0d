// SPDX-License-Identifier: Apache-2.0

// Calls the function of the page. It stands before this, and so do its headers.
int main(int argc, char** argv) {
  if (argc != 3) return 2;
  for (const std::string& place : PlacesOf(argv[1], argv[2])) std::cout << place << '\n';
}
