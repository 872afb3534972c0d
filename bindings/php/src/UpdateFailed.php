<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** Files cannot be updated. All are what they were. */
class UpdateFailed extends QeltemplateException
{
}
