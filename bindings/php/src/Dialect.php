<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** The languages of configurations. */
enum Dialect: string
{
    case Nginx = 'nginx';
    case Apache = 'apache';

    /** The one that a configuration or a template is written in; null when that cannot be told. */
    public static function guess(string $text): ?self
    {
        $name = Library::get()->qel_guess_dialect($text, strlen($text));
        return $name === null ? null : self::from($name);
    }
}
