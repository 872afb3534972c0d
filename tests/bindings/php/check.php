<?php

// SPDX-License-Identifier: Apache-2.0

// What the tests in PHP have in common: they run all, say what is wrong, and end with 1 then.

declare(strict_types=1);

require __DIR__ . '/../../../bindings/php/src/autoload.php';

set_error_handler(function (int $number, string $message): never {
    throw new ErrorException($message);
});

$tests = 0;
$wrong = 0;

function same(mixed $expected, mixed $made, string $what = ''): void
{
    global $wrong;
    if ($expected !== $made) {
        ++$wrong;
        fwrite(STDERR, "$what\nexpected " . var_export($expected, true) . "\nbut is " . var_export($made, true) . "\n");
    }
}

/** What is thrown, of this class. */
function thrown(string $class, callable $work): Throwable
{
    try {
        $work();
    } catch (Throwable $thrown) {
        if ($thrown instanceof $class) {
            return $thrown;
        }
        throw $thrown;
    }
    throw new LogicException("no $class is thrown");
}

function test(string $name, callable $test): void
{
    global $tests, $wrong;
    ++$tests;
    $before = $wrong;
    try {
        $test();
    } catch (Throwable $thrown) {
        ++$wrong;
        fwrite(STDERR, "$thrown\n");
    }
    echo $wrong === $before ? 'ok ' : 'not ok ', $name, "\n";
}

register_shutdown_function(function () {
    global $tests, $wrong;
    if ($tests === 0 || $wrong > 0) {
        exit(1);
    }
});
