<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** The server does not take the new files: params("output") says why. All are what they were. */
final class ServerRefuses extends UpdateFailed
{
}
