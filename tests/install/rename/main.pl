# SPDX-License-Identifier: Apache-2.0

# Calls the function of the page, which stands before this.
my @reasons = @ARGV == 3 ? rename_site(@ARGV) : rename_site(@ARGV[0 .. 2], $ARGV[3] eq 'all');
print STDERR "$_\n" for @reasons;
exit(@reasons ? 3 : 0);
