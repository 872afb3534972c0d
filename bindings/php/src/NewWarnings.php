<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** What becomes of a warning that the server's test gives for the new files and not for the old ones. */
enum NewWarnings: int
{
    case NotLookedFor = 0;
    case Told = 1;
    case Refused = 2;
}
