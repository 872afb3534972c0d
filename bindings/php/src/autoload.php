<?php

// SPDX-License-Identifier: Apache-2.0

// For programs without Composer: require 'Qeltemplate/autoload.php';

declare(strict_types=1);

spl_autoload_register(function (string $class): void {
    $prefix = 'Qeltemplate\\';
    $file = __DIR__ . '/' . substr($class, strlen($prefix)) . '.php';
    if (str_starts_with($class, $prefix) && is_file($file)) {
        require $file;
    }
});
