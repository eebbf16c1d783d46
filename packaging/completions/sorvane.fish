# Completion for fish; installed under the name of each command, which is how fish finds it.

set -l agents 'codex claude-code cursor custom-'

complete -c sorvane-hook -f
complete -c sorvane-hook -l agent -x -a $agents -d 'Who calls'
complete -c sorvane-hook -l client-id -x -d 'The client identifier of the manifest'
complete -c sorvane-hook -l credential-file -r -F -d 'The credential file of the manifest'

set -l no_command 'not __fish_seen_subcommand_from event identity'
complete -c sorvane-doctor -n $no_command -f
complete -c sorvane-doctor -n $no_command -a event -d 'What the hook would do with an event'
complete -c sorvane-doctor -n $no_command -a identity -d 'By what a file may be known'
complete -c sorvane-doctor -l agent -x -a $agents -d 'Look at this agent alone'
complete -c sorvane-doctor -l workspace -x -a '(__fish_complete_directories)' -d 'A project to look at as well'
complete -c sorvane-doctor -l json -d 'Answer with one JSON document'
complete -c sorvane-doctor -l help -d 'Print a summary'
complete -c sorvane-doctor -l version -d 'Print the version'
