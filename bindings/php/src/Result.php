<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** What came of an edit. */
final class Result
{
    /**
     * @param string $text The edited text; as it was, when the edit is refused.
     * @param bool $changed It is another one than before.
     * @param bool $skipped It has none of the template's blocks, see Edit::__construct.
     * @param list<Change> $changes What makes the edited text of the one before, carried out from the last to
     *     the first. Of a refused edit what would be done but for the refusals.
     * @param list<Finding> $refusals Why the edit is not made; none: it is made.
     * @param list<Finding> $warnings What should be known about it.
     */
    public function __construct(
        public readonly string $text,
        public readonly bool $changed,
        public readonly bool $skipped,
        public readonly array $changes,
        public readonly array $refusals,
        public readonly array $warnings,
    ) {
    }

    public function isRefused(): bool
    {
        return $this->refusals !== [];
    }
}
