<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** Whether blocks that are not there may be made. */
enum Create: int
{
    case IfMissing = 0; // edit what is there, make what is not
    case Never = 1;     // only edit what is there
    case Only = 2;      // only make what is not there
}
