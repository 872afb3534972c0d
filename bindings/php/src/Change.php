<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** Lines of a configuration in whose place others have come. */
final class Change
{
    /**
     * @param int $line The number of the first line, from 1.
     * @param int $count How many lines go; 0: the new ones come before that line.
     * @param string $text The lines that come, with their line ends.
     * @param list<Place> $templateLines Whose doing it is.
     */
    public function __construct(
        public readonly int $line,
        public readonly int $count,
        public readonly string $text,
        public readonly array $templateLines,
    ) {
    }
}
