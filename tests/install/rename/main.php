// SPDX-License-Identifier: Apache-2.0

// Calls the function of the page, which stands before this.
$reasons = $argc === 4
    ? rename_site($argv[1], $argv[2], $argv[3])
    : rename_site($argv[1], $argv[2], $argv[3], $argv[4] === 'all');
foreach ($reasons as $reason) {
    fwrite(STDERR, "$reason\n");
}
exit($reasons ? 3 : 0);
