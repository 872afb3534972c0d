<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/**
 * The C library, loaded when it is first used.
 *
 * @internal
 */
final class Library
{
    private const REFUSED = 9;

    private static ?\FFI $ffi = null;

    public static function get(): \FFI
    {
        return self::$ffi ??= \FFI::cdef(self::declarations(), getenv('QELTEMPLATE_C') ?: 'libqeltemplate_c.so.0');
    }

    /** Calls a function whose last argument is the error. Returns whether an edit was not refused. */
    public static function call(string $function, mixed ...$arguments): bool
    {
        $error = self::get()->new('qel_error');
        $status = self::get()->$function(...[...$arguments, \FFI::addr($error)]);
        if ($status === 0 || $status === self::REFUSED) {
            return $status === 0;
        }
        throw self::exception($status, $error->cdata);
    }

    /** Makes an object by a function whose last arguments are the handle and the error. */
    public static function make(string $function, mixed ...$arguments): int
    {
        $handle = self::get()->new('uint64_t');
        self::call($function, ...[...$arguments, \FFI::addr($handle)]);
        return $handle->cdata;
    }

    /** The text that a function hands out whose last arguments are the text, its size and the error. */
    public static function text(string $function, mixed ...$arguments): string
    {
        $text = self::get()->new('char*');
        $size = self::get()->new('size_t');
        self::call($function, ...[...$arguments, \FFI::addr($text), \FFI::addr($size)]);
        try {
            return \FFI::string($text, $size->cdata);
        } finally {
            self::get()->qel_text_free($text);
        }
    }

    /** The text that belongs to an object, of a function whose last argument is the size. */
    public static function borrowed(string $function, mixed ...$arguments): string
    {
        $size = self::get()->new('size_t');
        $text = self::get()->$function(...[...$arguments, \FFI::addr($size)]);
        return $size->cdata === 0 ? '' : \FFI::string($text, $size->cdata);
    }

    private static function exception(int $status, int $error): QeltemplateException
    {
        $class = match ($status) {
            4 => UnknownDialect::class,
            10 => UpdateFailed::class,
            11 => ServerRefuses::class,
            12 => Overtaken::class,
            default => QeltemplateException::class,
        };
        if ($error === 0) {
            return new $class(self::get()->qel_status_text($status), $status);
        }
        $params = [];
        for ($i = 0; $i < self::get()->qel_error_param_count($error); ++$i) {
            $params[] = [
                self::borrowed('qel_error_param_name', $error, $i),
                self::borrowed('qel_error_param_value', $error, $i),
            ];
        }
        $type = self::borrowed('qel_error_type', $error);
        $object = self::borrowed('qel_error_object', $error);
        // Of an update the object is a sentence, and the parameters are its parts once more.
        $message = $status >= 10 ? $object : self::borrowed('qel_error_message', $error);
        self::get()->qel_error_free($error);
        return new $class($message, $status, $type, $object, $params);
    }

    // PHP takes a `const char*` that it gets for a text up to the first NUL byte. Those that are handed out
    // have a size, and any bytes.
    private static function declarations(): string
    {
        $text = file_get_contents(__DIR__ . '/qeltemplate_ffi.h');
        $text = preg_replace('/^const char\*(?= qel_\w+\([^)]*size_t\* size\))/m', 'const void*', $text);
        return preg_replace_callback(
            '/^typedef void \(\*[^;]*;/m',
            fn (array $found) => str_replace('const char*', 'const void*', $found[0]),
            $text,
        );
    }
}
