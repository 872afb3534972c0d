# Makes plain comments into those that Doxygen reads. What its markup would take for commands, tags and
# links is text in them; lines indented by three blanks are code, and so are made a block of it.
1s|^// |/// @file\n/// |
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
