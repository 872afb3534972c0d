// SPDX-License-Identifier: Apache-2.0

// Calls the function of the page, which stands before this.
$reasons = rename_site($argv[1], $argv[2], $argv[3]);
foreach ($reasons as $reason) {
    fwrite(STDERR, "$reason\n");
}
exit($reasons ? 3 : 0);
