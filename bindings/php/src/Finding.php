<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** What speaks against an edit, or should be known about it. */
final class Finding
{
    /**
     * @param string $said One sentence for people: where it is, what is wrong, what to do.
     * @param string $name Of the kind: "ambiguous".
     * @param string $message What is wrong, without the place.
     * @param string $hint What to do instead; "": there is nothing to say.
     * @param ?Place $templatePlace The line of the template that it is about.
     * @param list<Place> $configPlaces What of the configuration it is about, the most important first.
     * @param bool $inResult These are places in the edited text, not in the one before.
     * @param list<string> $values The names of the values that it is about.
     * @param list<string> $remedies What would let the edit pass: "all", "quote" (of Edit::__construct), "raw"
     *     (of Edit::raw, with the values). Each would do.
     * @param bool $canBeForced Edit::force, with the name, has the edit made all the same.
     */
    public function __construct(
        public readonly string $said,
        public readonly string $name,
        public readonly string $message,
        public readonly string $hint,
        public readonly ?Place $templatePlace,
        public readonly array $configPlaces,
        public readonly bool $inResult,
        public readonly array $values,
        public readonly array $remedies,
        public readonly bool $canBeForced,
    ) {
    }

    public function __toString(): string
    {
        return $this->said;
    }
}
