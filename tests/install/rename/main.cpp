// SPDX-License-Identifier: Apache-2.0

// Calls the function of the page. It stands before this, and so do its headers.
int main(int argc, char** argv) {
  const bool all = argc == 5 && argv[4] == std::string("all");
  if (argc != 4 && !all) return 2;
  const std::vector<std::string> reasons = RenameSite(argv[1], argv[2], argv[3], all);
  for (const std::string& reason : reasons) std::cerr << reason << '\n';
  return reasons.empty() ? 0 : 3;
}
