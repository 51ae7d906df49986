# bash completion for jpgtool; made by jpgtool completion bash
_jpgtool() {
  local word=${COMP_WORDS[COMP_CWORD]} options=
  if [ "$COMP_CWORD" -eq 1 ]; then
    COMPREPLY=($(compgen -W "info decode encode exif segments icc thumbnail compare view help completion --help --version" -- "$word"))
    return
  fi
  case ${COMP_WORDS[1]} in
    info) options="-r --json --help" ;;
    decode) options="--to -j --strict --no-orient --bits --raw --scale --scans --each-scan --rows --max-scans --max-pixels --max-memory --no-eoi --keep-going --json --help" ;;
    encode) options="-j --quality --sampling --grey --progressive --strict --restart --no-color-conversion --jfif --comment --copy --no-orient --icc --lossless --predictor --max-pixels --max-memory --json --help" ;;
    exif) options="-r --json --help" ;;
    segments) options="-r --json --help" ;;
    icc) options="-o -r --json --help" ;;
    thumbnail) options="--bits --max-pixels --max-memory --strict --no-eoi --json --help" ;;
    compare) options="--exact --raw --strict --no-eoi --no-orient --json --max-pixels --max-memory --help" ;;
    view) options="--width --strict --no-eoi --no-orient --json --max-pixels --max-memory --help" ;;
    help) options="info decode encode exif segments icc thumbnail compare view help completion" ;;
    completion) options="bash zsh fish" ;;
  esac
  case ${COMP_WORDS[1]}:$word in
    help:* | completion:* | *:-*) COMPREPLY=($(compgen -W "$options" -- "$word")) ;;
    *) COMPREPLY=($(compgen -f -- "$word")) ;;
  esac
}
complete -o filenames -F _jpgtool jpgtool
