<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/**
 * An edit, with all that it needs but the configuration: it can be carried out on any number of texts.
 *
 *     $edit = new Edit('nginx', file_get_contents('site.template'), 'site.template');
 *     $edit->set('name', old: 'a.example', new: 'b.example');
 *     try {
 *         $edited = $edit->apply(file_get_contents($file), $file)->text;
 *     } catch (Refused $refused) {
 *         echo $refused->getMessage(), "\n";
 *     }
 *
 * Only what the template says differs in the edited text. Texts are bytes, in whatever encoding.
 */
final class Edit
{
    private readonly int $request;
    private ?\Closure $importer = null;
    private ?\Throwable $thrown = null;

    /**
     * @param Dialect|string $dialect "nginx" or "apache".
     * @param string $templateName Stands for the template in findings; its imports are looked for beside it.
     * @param bool $all Edit each block that fits; otherwise several are refused.
     * @param bool $mustExist What is to be removed has to be there; otherwise it is refused.
     * @param bool $skipMissing Leave a text alone that has none of the template's blocks.
     * @param bool $quote The values are texts: one that the server would not read as such is written in quotes.
     */
    public function __construct(
        Dialect|string $dialect,
        string $template,
        string $templateName = 'template',
        bool $all = false,
        bool $mustExist = false,
        bool $skipMissing = false,
        bool $quote = false,
        Create $create = Create::IfMissing,
    ) {
        $name = $dialect instanceof Dialect ? $dialect->value : $dialect;
        $this->request = Library::make('qel_request_new', ...self::bytes($name, $template, $templateName));
        foreach ([1 => $all, 2 => $mustExist, 3 => $skipMissing, 4 => $quote] as $option => $on) {
            Library::call('qel_request_set_option', $this->request, $option, (int) $on);
        }
        Library::call('qel_request_set_create', $this->request, $create->value);
    }

    public function __destruct()
    {
        if (isset($this->request)) {
            Library::get()->qel_request_free($this->request);
        }
    }

    public function __clone()
    {
        throw new \LogicException('An edit cannot be copied');
    }

    /**
     * Sets a value: what the configuration holds now, and what it is to hold. Null: none. Without an old value
     * the new one is taken for what the configuration holds already.
     */
    public function set(string $name, ?string $new = null, ?string $old = null): self
    {
        Library::call('qel_request_set_value', $this->request, ...self::bytes($name, $old, $new));
        return $this;
    }

    /** Has each configuration say the old values of these names itself: what stands in their places there. */
    public function readOld(string ...$names): self
    {
        return $this->each('qel_request_read_old', $names);
    }

    /** Has refusals of these names not count: those of which Finding::$canBeForced is true. */
    public function force(string ...$refusals): self
    {
        return $this->each('qel_request_force', $refusals);
    }

    /** Lets these values be more than one word, or several directives. */
    public function raw(string ...$names): self
    {
        return $this->each('qel_request_raw', $names);
    }

    /** Has the template use these values; otherwise the edit is refused. */
    public function mustUse(string ...$names): self
    {
        return $this->each('qel_request_must_use', $names);
    }

    /** Lets the template import files, from nowhere out of this folder; "": from everywhere. */
    public function importBelow(string $folder): self
    {
        Library::call('qel_request_import_below', $this->request, ...self::bytes($folder));
        $this->importer = null;
        return $this;
    }

    /**
     * Has a function find what the template imports: it gets the name, and the place of the import, and
     * returns null when there is no such file, or a name that tells the file from all others, and its text. What it throws
     * comes out of apply, attempt, explain and lint.
     *
     * @param callable(string, Place): ?array{string, string} $find
     */
    public function importBy(callable $find): self
    {
        // It must not throw through C, and lives as long as it may be called.
        $this->importer = function (mixed $context, int $import, mixed $name, int $size, mixed $file, int $fileSize, int $line) use ($find): void {
            try {
                $found = $find($this->string($name, $size), new Place($this->string($file, $fileSize), $line));
                if ($found !== null) {
                    Library::call('qel_import_found', $import, ...self::bytes(...$found));
                }
            } catch (\Throwable $thrown) {
                $this->thrown ??= $thrown;
            }
        };
        Library::call('qel_request_set_importer', $this->request, $this->importer, null, null);
        return $this;
    }

    /** @throws Refused when the edit is not made. */
    public function apply(string $config, string $name = 'config'): Result
    {
        $result = $this->attempt($config, $name);
        return $result->isRefused() ? throw new Refused($result) : $result;
    }

    /** The same edit; of one that is refused the result has the reasons, and the text as it was. */
    public function attempt(string $config, string $name = 'config'): Result
    {
        $handle = $this->guarded(fn () => Library::make('qel_edit', $this->request, ...self::bytes($config, $name)));
        try {
            return Reader::result($handle);
        } finally {
            Library::get()->qel_result_free($handle);
        }
    }

    /**
     * What would become of each line of the template, and why: what "qeltemplate explain --json" writes.
     *
     * @return array<string, mixed>
     */
    public function explain(string $config, string $name = 'config'): array
    {
        return $this->guarded(fn () => json_decode(
            Library::text('qel_explain', $this->request, ...self::bytes($config, $name)),
            true,
            flags: JSON_THROW_ON_ERROR,
        ));
    }

    /**
     * What is wrong with the template, or probably not meant: what "qeltemplate lint --json" writes.
     *
     * @param bool $allValues The values that are set are all there will be.
     * @return list<array<string, mixed>>
     */
    public function lint(bool $allValues = false): array
    {
        return $this->guarded(fn () => json_decode(
            Library::text('qel_lint', $this->request, (int) $allValues),
            true,
            flags: JSON_THROW_ON_ERROR,
        )['warnings']);
    }

    /**
     * The blocks and directives of a configuration as its server reads it, and what the server would refuse:
     * what "qeltemplate inspect --json" writes.
     *
     * @param Dialect|string|null $dialect Null: it is guessed.
     * @return array<string, mixed>
     */
    public static function inspect(string $config, string $name = 'config', Dialect|string|null $dialect = null): array
    {
        $dialect = $dialect instanceof Dialect ? $dialect->value : $dialect;
        return json_decode(
            Library::text('qel_inspect', ...self::bytes($dialect, $config, $name)),
            true,
            flags: JSON_THROW_ON_ERROR,
        );
    }

    private function guarded(\Closure $work): mixed
    {
        $this->thrown = null;
        $done = $work();
        return $this->thrown === null ? $done : throw $this->thrown;
    }

    /** @param array<string> $names */
    private function each(string $function, array $names): self
    {
        foreach ($names as $name) {
            Library::call($function, $this->request, ...self::bytes($name));
        }
        return $this;
    }

    private function string(mixed $pointer, int $size): string
    {
        return $size === 0 ? '' : \FFI::string($pointer, $size);
    }

    /** @return list<string|int|null> Each text with its size. */
    private static function bytes(?string ...$texts): array
    {
        $bytes = [];
        foreach ($texts as $text) {
            array_push($bytes, $text, strlen($text ?? ''));
        }
        return $bytes;
    }
}
