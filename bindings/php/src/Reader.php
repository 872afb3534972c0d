<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/**
 * Reads results of the C library.
 *
 * @internal
 */
final class Reader
{
    private const REFUSALS = 0;
    private const WARNINGS = 1;

    public static function result(int $result): Result
    {
        $library = Library::get();
        return new Result(
            Library::borrowed('qel_result_text', $result),
            $library->qel_result_changed($result) === 1,
            $library->qel_result_skipped($result) === 1,
            self::list($library->qel_result_change_count($result), fn (int $i) => self::change($result, $i)),
            self::findings($result, self::REFUSALS),
            self::findings($result, self::WARNINGS),
        );
    }

    private static function change(int $result, int $index): Change
    {
        $library = Library::get();
        return new Change(
            $library->qel_result_change_line($result, $index),
            $library->qel_result_change_lines($result, $index),
            Library::borrowed('qel_result_change_text', $result, $index),
            self::list($library->qel_result_change_place_count($result, $index), fn (int $place) => new Place(
                Library::borrowed('qel_result_change_place_file', $result, $index, $place),
                $library->qel_result_change_place_line($result, $index, $place),
            )),
        );
    }

    /** @return list<Finding> */
    private static function findings(int $result, int $kind): array
    {
        $count = Library::get()->qel_finding_count($result, $kind);
        return self::list($count, fn (int $i) => self::finding($result, $kind, $i));
    }

    private static function finding(int $result, int $kind, int $index): Finding
    {
        $at = [$result, $kind, $index];
        $library = Library::get();
        $remedies = $library->qel_finding_remedies(...$at);
        $template = new Place(
            Library::borrowed('qel_finding_template_file', ...$at),
            $library->qel_finding_template_line(...$at),
            $library->qel_finding_template_column(...$at),
        );
        return new Finding(
            Library::borrowed('qel_finding_said', ...$at),
            Library::borrowed('qel_finding_name', ...$at),
            Library::borrowed('qel_finding_message', ...$at),
            Library::borrowed('qel_finding_hint', ...$at),
            $template->file === '' && $template->line === 0 ? null : $template,
            self::list($library->qel_finding_config_count(...$at), fn (int $place) => new Place(
                Library::borrowed('qel_finding_config_file', ...[...$at, $place]),
                $library->qel_finding_config_line(...[...$at, $place]),
                $library->qel_finding_config_column(...[...$at, $place]),
            )),
            $library->qel_finding_in_result(...$at) === 1,
            self::list(
                $library->qel_finding_value_count(...$at),
                fn (int $value) => Library::borrowed('qel_finding_value', ...[...$at, $value]),
            ),
            array_values(array_filter(
                [1 => 'all', 2 => 'quote', 4 => 'raw'],
                fn (int $bit) => ($remedies & $bit) !== 0,
                ARRAY_FILTER_USE_KEY,
            )),
            $library->qel_finding_can_be_forced(...$at) === 1,
        );
    }

    /** @return list<mixed> */
    private static function list(int $count, \Closure $get): array
    {
        return $count === 0 ? [] : array_map($get, range(0, $count - 1));
    }
}
