<?php

// SPDX-License-Identifier: Apache-2.0

// For servers, where PHP lets only what is loaded beforehand use FFI (ffi.enable=preload, as it is set
// unless somebody has changed it): opcache.preload=/usr/share/php/Qeltemplate/preload.php

declare(strict_types=1);

require_once __DIR__ . '/autoload.php';

foreach (glob(__DIR__ . '/[A-Z]*.php') as $file) {
    // A class that another one is made of has been loaded with that.
    class_exists('Qeltemplate\\' . basename($file, '.php'));
}
