<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/**
 * Replaces the content of files, all of them or none, under a lock.
 *
 *     $update = new Update($files, check: 'nginx -t', reload: 'systemctl reload nginx');
 *     $update->edit($edit);
 *     $update->commit();
 *
 * The files are locked until the object goes.
 */
final class Update
{
    private readonly int $update;

    /**
     * @param list<string> $files Their names.
     * @param ?string $check A command by which the server judges the files: with "{}" in it for each file before
     *     it is put in place, without once when all are in their places.
     * @param ?string $reload A command that has the server take them. When it fails, the old files come back.
     * @param ?string $backupSuffix Keeps the old file as its name and this.
     * @param int $lockWait Milliseconds for which others that hold a lock are waited for.
     * @param int $commandLimit Milliseconds that each run of a command may take; 0: as long as it likes.
     * @param bool $mayCreate The file, then only one, is made when it is not there.
     * @throws UpdateFailed when a file cannot be locked.
     */
    public function __construct(
        array $files,
        ?string $check = null,
        ?string $reload = null,
        ?string $backupSuffix = null,
        int $lockWait = 30000,
        int $commandLimit = 0,
        NewWarnings $newWarnings = NewWarnings::NotLookedFor,
        bool $mayCreate = false,
    ) {
        $this->update = Library::make('qel_update_new');
        foreach ($files as $file) {
            Library::call('qel_update_add', $this->update, $file, strlen($file));
        }
        foreach ([1 => $backupSuffix, 2 => $check, 3 => $reload] as $option => $text) {
            Library::call('qel_update_set_text', $this->update, $option, $text, strlen($text ?? ''));
        }
        $numbers = [1 => $lockWait, 2 => (int) $mayCreate, 3 => $commandLimit, 4 => $newWarnings->value];
        foreach ($numbers as $option => $number) {
            if ($number < 0) {
                throw new \ValueError('A time is negative');
            }
            Library::call('qel_update_set_number', $this->update, $option, $number);
        }
        Library::call('qel_update_lock', $this->update);
    }

    public function __destruct()
    {
        if (isset($this->update)) {
            Library::get()->qel_update_free($this->update);
        }
    }

    public function __clone()
    {
        throw new \LogicException('An update cannot be copied');
    }

    /**
     * The files' names: of several that lead to one file only the first. The other functions count them
     * from 0.
     *
     * @return list<string>
     */
    public function names(): array
    {
        $names = [];
        for ($i = 0; $i < Library::get()->qel_update_count($this->update); ++$i) {
            $names[] = Library::text('qel_update_name', $this->update, $i);
        }
        return $names;
    }

    /** The content of a file; "" for one that is not there yet. */
    public function read(int $file): string
    {
        return Library::text('qel_update_read', $this->update, $file);
    }

    /** Has commit replace the content of a file. */
    public function replace(int $file, string $text): void
    {
        Library::call('qel_update_replace', $this->update, $file, $text, strlen($text));
    }

    /**
     * Has commit replace each file by what an edit makes of it.
     *
     * @return list<Result> In the order of names.
     * @throws Refused when one is refused; then no file is to be replaced.
     */
    public function edit(Edit $edit): array
    {
        $results = [];
        foreach ($this->names() as $file => $name) {
            $results[] = $edit->apply($this->read($file), $name);
        }
        foreach ($results as $file => $result) {
            $this->replace($file, $result->text);
        }
        return $results;
    }

    /**
     * Replaces the files. May be called once.
     *
     * @throws UpdateFailed ServerRefuses and Overtaken among it.
     */
    public function commit(): UpdateResult
    {
        Library::call('qel_update_commit', $this->update);
        $done = json_decode(Library::text('qel_update_json', $this->update), true, flags: JSON_THROW_ON_ERROR);
        return new UpdateResult(
            $done['changed'],
            $done['backups'],
            $done['new_warnings'],
            $done['checked'],
            $done['reloaded'],
        );
    }
}
