# fish completion for vestry
set -l commands list discover prune archive pin unpin restore helper gather-logs
complete -c vestry -f
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -l help -s h -d 'Print help'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -l version -d 'Print the version'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a list -d 'List autosaves by project'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a discover -d 'Find new autosave locations'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a prune -d 'Move autosaves to the Trash by a rule'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a archive -d 'Pack autosaves into a zip, then trash them'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a pin -d 'Keep projects or autosaves from every rule'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a unpin -d 'Take the pin off projects or autosaves'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a restore -d 'List removed autosaves, put them back'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a helper -d 'Show and switch the background jobs'
complete -c vestry -n "not __fish_seen_subcommand_from $commands" -a gather-logs -d 'Collect the logs for support'

complete -c vestry -n '__fish_seen_subcommand_from list' -l json -d 'Print one JSON document'
complete -c vestry -n '__fish_seen_subcommand_from list' -l sort -x -a 'name date size' -d 'Order by'
complete -c vestry -n '__fish_seen_subcommand_from list' -l descending -d 'Reverse the order of --sort'
complete -c vestry -n '__fish_seen_subcommand_from list' -l orphans -d 'Only projects whose project file is gone'
complete -c vestry -n '__fish_seen_subcommand_from list' -l summary -d 'Totals by editor and by location'
complete -c vestry -n '__fish_seen_subcommand_from list prune' -F

complete -c vestry -n '__fish_seen_subcommand_from discover' -l json -d 'Print one JSON document'
complete -c vestry -n '__fish_seen_subcommand_from discover' -l volumes -d 'Say which volumes were searched'

complete -c vestry -n '__fish_seen_subcommand_from prune' -l older-than -x -d 'Remove autosaves older than DAYS'
complete -c vestry -n '__fish_seen_subcommand_from prune' -l keep -x -d 'Keep the N most recent of each project'
complete -c vestry -n '__fish_seen_subcommand_from prune' -l max-size -x -d 'Keep each project within SIZE (500M, 1.5G)'
complete -c vestry -n '__fish_seen_subcommand_from prune' -l dry-run -d 'List what would go, change nothing'
complete -c vestry -n '__fish_seen_subcommand_from prune' -l json -d 'Print one JSON document'

complete -c vestry -n '__fish_seen_subcommand_from archive' -l to -r -F -d 'The archive to write (.zip)'
complete -c vestry -n '__fish_seen_subcommand_from archive' -l verify -r -F -d 'Check an archive against its manifest'
complete -c vestry -n '__fish_seen_subcommand_from archive' -F
complete -c vestry -n '__fish_seen_subcommand_from pin unpin' -F

complete -c vestry -n '__fish_seen_subcommand_from restore' -l list -d 'List what the Trash holds from the locations'
complete -c vestry -n '__fish_seen_subcommand_from restore' -l json -d 'With --list: print one JSON document'
complete -c vestry -n '__fish_seen_subcommand_from restore' -l last -d 'Put back what the last removal took'
complete -c vestry -n '__fish_seen_subcommand_from restore' -F

set -l helper_seen '__fish_seen_subcommand_from helper'
complete -c vestry -n "$helper_seen; and not __fish_seen_subcommand_from status enable disable" -a status -d 'Say how the jobs are'
complete -c vestry -n "$helper_seen; and not __fish_seen_subcommand_from status enable disable" -a enable -d 'Switch a job on'
complete -c vestry -n "$helper_seen; and not __fish_seen_subcommand_from status enable disable" -a disable -d 'Switch a job off'
complete -c vestry -n "$helper_seen; and __fish_seen_subcommand_from enable disable; and not __fish_seen_subcommand_from trash clean" -a 'trash clean'
complete -c vestry -n "$helper_seen; and __fish_seen_subcommand_from status enable disable" -l system -d "The computer's job; root only"
complete -c vestry -n "$helper_seen; and __fish_seen_subcommand_from status" -l json -d 'Print one JSON document'
set -l clean_seen "$helper_seen; and __fish_seen_subcommand_from enable; and __fish_seen_subcommand_from clean"
complete -c vestry -n "$clean_seen" -l older-than -x -d 'Clean autosaves older than DAYS (0: no limit)'
complete -c vestry -n "$clean_seen" -l project-size -x -d "Keep each project within MB (0: no limit)"
complete -c vestry -n "$clean_seen" -l folder-size -x -d "Keep the folder within GB (0: no limit)"
complete -c vestry -n "$clean_seen" -l action -x -a 'trash archive' -d 'What cleaning does'
complete -c vestry -n "$clean_seen" -a '(__fish_complete_directories)'
