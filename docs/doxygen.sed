# Makes plain comments into those that Doxygen reads. What its markup would take for commands, tags and
# links is text in them; lines indented by three blanks are code, and so are made a block of it. The first
# comment behind the licence is the file's.
1s|^// SPDX.*||
3s|^// |/// @file\n/// |
3s|^/\* |/** @file\n * |
/^ *\/\/   /{
  s|//   |///     |
  b
}
/^ *\/\/( |$)/{
  s/[\\<>@#&%]/\\&/g
  s|//|///|
  b
}
s|^( *[^ /].*[;,]  )// |\1///< |
# The same of C's comments. One with dashes is a heading for readers of the header.
\|^/\* -|b
s|^( +[^ /*].*[^ ] +)/\* |\1/**< |
\|^/\*.*\*/$|{
  s/[\\<>@#&%]/\\&/g
  s|^/\* |/** |
  b
}
\|^/\*|,\|\*/|{
  s|^/\* |/** |
  \|^ \*   |{
    s|^ \*   | *       |
    b
  }
  3b
  s/[\\<>@#&%]/\\&/g
}
