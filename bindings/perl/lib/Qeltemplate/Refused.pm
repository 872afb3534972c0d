# SPDX-License-Identifier: Apache-2.0

# An edit that is not made. See Qeltemplate.
package Qeltemplate::Refused;

use strict;
use warnings;

use overload '""' => sub { join '', map { "$_\n" } @{$_[0]->result->refusals} }, fallback => 1;

sub _of {
  my ($class, $result) = @_;
  return bless {result => $result}, $class;
}

sub result { return $_[0]{result} }

1;
