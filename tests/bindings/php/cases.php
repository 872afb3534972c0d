<?php

// SPDX-License-Identifier: Apache-2.0

// The edits of the C++ tests, made once more: all of each result is the same.
//
//   cases.php FOLDER   which tests/edit/case_writer.h has written

declare(strict_types=1);

require __DIR__ . '/check.php';

use Qeltemplate\{Change, Create, Edit, Finding, Place};

/** Each character of a text is one byte. */
function bytes(mixed $value): mixed
{
    if (is_string($value)) {
        return mb_convert_encoding($value, 'ISO-8859-1', 'UTF-8');
    }
    if (!is_array($value)) {
        return $value;
    }
    $bytes = [];
    foreach ($value as $key => $each) {
        $bytes[is_string($key) ? bytes($key) : $key] = bytes($each);
    }
    return $bytes;
}

function place(?Place $place): array
{
    return ['file' => $place?->file ?? '', 'line' => $place?->line ?? 0, 'column' => $place?->column ?? 0];
}

function finding(Finding $finding): array
{
    return [
        'name' => $finding->name,
        'message' => $finding->message,
        'hint' => $finding->hint,
        'said' => $finding->said,
        'template_place' => place($finding->templatePlace),
        'config_places' => array_map('place', $finding->configPlaces),
        'in_result' => $finding->inResult,
        'values' => $finding->values,
        'remedies' => $finding->remedies,
        'can_be_forced' => $finding->canBeForced,
    ];
}

function change(Change $change): array
{
    return [
        'line' => $change->line,
        'count' => $change->count,
        'text' => $change->text,
        'template_lines' => array_map('place', $change->templateLines),
    ];
}

function made(array $case): array
{
    $edit = new Edit(
        $case['dialect'],
        $case['template'],
        $case['template_name'],
        $case['all'],
        $case['must_exist'],
        $case['skip_missing'],
        $case['quote'],
        ['if-missing' => Create::IfMissing, 'never' => Create::Never, 'only' => Create::Only][$case['create']],
    );
    foreach ($case['values'] as $name => $value) {
        $edit->set((string) $name, $value['new'] ?? null, $value['old'] ?? null);
        if ($value['read_old'] ?? false) {
            $edit->readOld((string) $name);
        }
    }
    $edit->force(...$case['forced'])->raw(...$case['raw'])->mustUse(...$case['must_be_used']);
    if ($case['imports'] !== null) {
        $edit->importBy(function (string $name, Place $from) use ($case): ?array {
            foreach ($case['imports'] as $import) {
                $same = $import['name'] === $name && $import['from']['file'] === $from->file;
                if ($same && $import['from']['line'] === $from->line) {
                    return $import['found'] === null ? null : [$import['found']['name'], $import['found']['text']];
                }
            }
            return null;
        });
    }
    $result = $edit->attempt($case['config'], $case['config_name']);
    return [
        'text' => $result->text,
        'changed' => $result->changed,
        'skipped' => $result->skipped,
        'changes' => array_map('change', $result->changes),
        'refusals' => array_map('finding', $result->refusals),
        'warnings' => array_map('finding', $result->warnings),
    ];
}

$count = 0;
foreach (glob($argv[1] . '/*.jsonl') as $file) {
    test(basename($file, '.jsonl'), function () use ($file, &$count) {
        foreach (file($file) as $line) {
            $case = bytes(json_decode($line, true, flags: JSON_THROW_ON_ERROR));
            foreach ($case['imports'] ?? [] as $import) {
                if (($import['found']['problem'] ?? '') !== '') {
                    continue 2; // an importer of this module throws instead
                }
            }
            // The columns of template lines are not handed out.
            foreach ($case['result']['changes'] as &$change) {
                foreach ($change['template_lines'] as &$place) {
                    $place['column'] = 0;
                }
            }
            unset($change, $place);
            same($case['result'], made($case), $line);
            ++$count;
        }
    });
}
echo "$count edits\n";
same(true, $count > 1000, 'too few edits');
