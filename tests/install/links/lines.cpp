// SPDX-License-Identifier: Apache-2.0

// Calls the function of the page. It stands before this, and so do its headers.
int main() {
  const std::string config(std::istreambuf_iterator<char>(std::cin), {});
  std::cout << Edited(config, "server {\n\tserver_name {% $name %};\n}\n") << '\n';
}
