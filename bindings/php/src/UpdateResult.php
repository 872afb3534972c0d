<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** What an update has done. */
final class UpdateResult
{
    /**
     * @param list<string> $changed The files that hold another text now.
     * @param list<string> $backups The backups of those.
     * @param list<string> $newWarnings In the server's words, where they are to be told.
     * @param bool $checked The check has been run, and has succeeded.
     * @param bool $reloaded The same of the reload.
     */
    public function __construct(
        public readonly array $changed,
        public readonly array $backups,
        public readonly array $newWarnings,
        public readonly bool $checked,
        public readonly bool $reloaded,
    ) {
    }
}
