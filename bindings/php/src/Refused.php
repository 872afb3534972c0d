<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** An edit that would do other than the template says is not made. The message has the reasons, one on a line. */
final class Refused extends \RuntimeException
{
    public function __construct(public readonly Result $result)
    {
        parent::__construct(implode("\n", $result->refusals));
    }
}
