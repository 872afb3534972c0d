<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** Another program has changed a file meanwhile, which stays as that program has left it. */
final class Overtaken extends UpdateFailed
{
}
