<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** A place in a file. Lines and columns count from 1, columns in bytes; 0: none in particular. */
final class Place
{
    public function __construct(
        public readonly string $file,
        public readonly int $line,
        public readonly int $column = 0,
    ) {
    }

    /** "site.conf:12:5", without what is 0. */
    public function __toString(): string
    {
        return $this->file . ($this->line ? ":$this->line" : '') . ($this->column ? ":$this->column" : '');
    }
}
