complete -c prowl -f
complete -c prowl -l prober -r -F -d 'The prober to run'
complete -c prowl -l timeout -x -d 'What the prober may take, in seconds'
complete -c prowl -l json -n 'not __fish_contains_opt raw' -d 'One JSON document'
complete -c prowl -l raw -n 'not __fish_contains_opt json' -d 'The report byte for byte'
complete -c prowl -l version -d 'The version'
complete -c prowl -s h -l help -d 'The options in short'
complete -c prowl -n 'contains -- -- (commandline -opc)' \
  -a '-help -crashAfter= -throwAfter= -app= -stdout= -stderr= -comment= -exit= -verbose= -timeout= -hang='
