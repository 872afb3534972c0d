<?php
// SPDX-License-Identifier: Apache-2.0

// names.php PAGE: what stands as code in the sentences of the page is in the classes.
declare(strict_types=1);

$classes = dirname(__DIR__, 3) . '/bindings/php/src';
require getenv('QELTEMPLATE_PHP') ?: "$classes/autoload.php";

$known = ['Refused', 'null', 'string', 'new', 'glob', 'params', 'output'];
foreach (glob("$classes/[A-Z]*.php") as $file) {
    $class = new ReflectionClass('Qeltemplate\\' . basename($file, '.php'));
    $known[] = $class->getShortName();
    foreach ($class->getProperties(ReflectionProperty::IS_PUBLIC) as $property) {
        $known[] = $property->getName();
    }
    foreach ($class->getMethods(ReflectionMethod::IS_PUBLIC) as $method) {
        $known[] = $method->getName();
        foreach ($method->getParameters() as $parameter) {
            $known[] = $parameter->getName();
        }
    }
}

// What comes behind is about settings and packages.
[$page] = explode("\n## Settings", file_get_contents($argv[1]));
$page = preg_replace('/^```.*?^```$/ms', '', $page);
preg_match_all('/`([^`]+)`/', $page, $spans);
$names = [];
foreach ($spans[1] as $code) {
    preg_match_all('/[A-Za-z_]\w*/', preg_replace("/'[^']*'/", '', $code), $words);
    array_push($names, ...$words[0]);
}
if (count($names) < 40) {
    exit("only " . count($names) . " names\n");
}
$unknown = array_diff($names, $known, ['finding']);
if ($unknown) {
    fwrite(STDERR, 'there is no ' . implode(', ', $unknown) . "\n");
    exit(1);
}
