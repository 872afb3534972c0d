# bash completion for qeltemplate(1)

_qeltemplate_command() {
  local word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in apply | prototype | explain | inspect | lint | sites | adopt) echo "$word"; return ;; esac
  done
}

_qeltemplate() {
  local current=${COMP_WORDS[COMP_CWORD]}
  local previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command options attached
  command=$(_qeltemplate_command)

  # "--option=value" comes as three words, "=" being one of them.
  if [[ $current == '=' ]]; then
    current='' attached=yes
  elif [[ $previous == '=' ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]} attached=yes
  fi

  local IFS=$'\n'
  case $previous in
    --dialect)
      COMPREPLY=($(compgen -W $'apache\nnginx' -- "$current"))
      return
      ;;
    --color)
      COMPREPLY=($(compgen -W $'auto\nalways\nnever' -- "$current"))
      return
      ;;
    --check)
      if [[ -n $attached ]]; then
        COMPREPLY=($(compgen -W strict -- "$current"))
        return
      fi
      ;;
    --import-root | --root)
      compopt -o filenames
      COMPREPLY=($(compgen -d -- "$current"))
      return
      ;;
    --template | --values | --output)
      compopt -o filenames
      COMPREPLY=($(compgen -f -- "$current"))
      return
      ;;
    --force)
      COMPREPLY=($(compgen -W $'collision\nmixed-options\nother-value\nsyntax\nunmatched-section\nunused-value' -- "$current"))
      return
      ;;
    --set | --old | --read-old | --unset | --raw | --reload | --jobs | --ignore | --site | --value | --managed | --name | --address | --define | --modules)
      return
      ;;
  esac

  if [[ -z $command ]]; then
    COMPREPLY=($(compgen -W $'apply\nprototype\nexplain\ninspect\nlint\nsites\nadopt\n--help\n--version' -- "$current"))
    return
  fi
  if [[ $current != -* ]]; then
    compopt -o filenames
    COMPREPLY=($(compgen -f -- "$current"))
    return
  fi
  local request=$'\n--template\n--import-root'
  local values=$'\n--set\n--old\n--read-old\n--unset\n--values'
  local writing=$'\n--quote\n--raw'
  local guards=$writing$'\n--force\n--all\n--must-exist\n--no-create\n--only-create'
  local output=$'\n--json\n--color\n--ignore'
  local server=$'\n--root\n--define\n--modules'
  options=$'--help\n--dialect'
  case $command in
    apply)
      options+=$request$values$guards
      options+=$'\n--diff\n--color\n--in-place\n--output\n--dry-run\n--json\n--check\n--reload'
      options+=$'\n--skip-missing\n--exit-code\n--jobs\n--server\n--new-in'$server
      ;;
    prototype) options+=$request$values$writing ;;
    explain) options+=$request$values$guards$output$server$'\n--server\n--new-in' ;;
    inspect) options+=$output$server$'\n--server' ;;
    lint) options+=$values$output ;;
    adopt) options+=$'\n--site\n--value\n--managed\n--common\n--comment\n--template\n--values\n--overwrite' ;;
    sites) options+=$server$'\n--name\n--address\n--json\n--ignore' ;;
  esac
  COMPREPLY=($(compgen -W "$options" -- "$current"))
}

complete -F _qeltemplate qeltemplate
