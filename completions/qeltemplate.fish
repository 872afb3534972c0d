# fish completion for qeltemplate(1)

set -l no_command 'not __fish_seen_subcommand_from apply prototype'
set -l any_command '__fish_seen_subcommand_from apply prototype'
set -l apply '__fish_seen_subcommand_from apply'

complete -c qeltemplate -n $no_command -f -a apply -d 'Edit configurations by a template'
complete -c qeltemplate -n $no_command -f -a prototype -d 'Write the skeleton of a template'
complete -c qeltemplate -s h -l help -d 'Print a summary of the options'
complete -c qeltemplate -n $no_command -l version -d 'Print the version'

complete -c qeltemplate -n $any_command -l dialect -x -a 'apache nginx' -d 'Language of CONFIG'
complete -c qeltemplate -n $any_command -l template -r -F -d 'The template'
complete -c qeltemplate -n $any_command -l import-root -x -a '(__fish_complete_directories)' \
    -d 'Keep imports inside a directory'
complete -c qeltemplate -n $any_command -l set -x -d 'A value as it is to be, NAME=NEW'
complete -c qeltemplate -n $any_command -l old -x -d 'A value as it is now, NAME=OLD'
complete -c qeltemplate -n $any_command -l unset -x -d 'A value that is to have no new text'
complete -c qeltemplate -n $any_command -l values -r -F -d 'JSON or YAML file of values'

complete -c qeltemplate -n $apply -l diff -d 'Write a unified diff'
complete -c qeltemplate -n $apply -l color -x -a 'auto always never' -d 'Colour the diff'
complete -c qeltemplate -n $apply -l in-place -d 'Replace CONFIG'
complete -c qeltemplate -n $apply -l output -r -F -d 'Write the edited text to a file'
complete -c qeltemplate -n $apply -l dry-run -d 'Only say what would change'
complete -c qeltemplate -n $apply -l check -d 'Have the server judge the result'
complete -c qeltemplate -n $apply -l reload -x -d 'Run a command when all files are in place'
complete -c qeltemplate -n $apply -l exit-code -d 'Exit with 1 when something changed'
complete -c qeltemplate -n $apply -l jobs -x -d 'Edit so many files at a time'
complete -c qeltemplate -n $apply -l force -x -d 'Make an edit that is refused' \
    -a 'ambiguous duplicate-identity lost-lines mixed-options not-applied odd-line other-directive template unbalanced unmatched-section'
complete -c qeltemplate -n $apply -l raw -x -d 'Put a value in whatever it holds'
complete -c qeltemplate -n $apply -l no-create -d 'Make no block that is not there'
complete -c qeltemplate -n $apply -l only-create -d 'Only make blocks that are not there'
