<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

namespace Qeltemplate;

/** What went wrong. The code is the number of the C interface's status. */
class QeltemplateException extends \RuntimeException
{
    /**
     * @param string $type "file"
     * @param string $object "read"
     * @param list<array{string, string}> $params Names and values, a name as often as there are values.
     */
    final public function __construct(
        string $message,
        int $code,
        public readonly string $type = '',
        public readonly string $object = '',
        public readonly array $params = [],
    ) {
        parent::__construct($message, $code);
    }

    /**
     * The values of a parameter.
     *
     * @return list<string>
     */
    public function params(string $name): array
    {
        $values = [];
        foreach ($this->params as [$known, $value]) {
            if ($known === $name) {
                $values[] = $value;
            }
        }
        return $values;
    }
}
