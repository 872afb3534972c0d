<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** There is no such dialect. */
final class UnknownDialect extends QeltemplateException
{
}
