# SPDX-License-Identifier: Apache-2.0

# Calls the function of the page, which stands before this.
my @reasons = rename_site(@ARGV);
print STDERR "$_\n" for @reasons;
exit(@reasons ? 3 : 0);
