# Completion of zantop in fish.

complete -c zantop -f
complete -c zantop -s i -l id -x -d 'Show these GPUs'
complete -c zantop -s d -l delay -x -d 'Seconds from one reading to the next'
complete -c zantop -s n -l count -x -d 'End after so many readings'
complete -c zantop -l sort -xa 'gpu pid user type gpu-memory use cpu memory time command' -d 'Sort the processes by a column'
complete -c zantop -l filter -x -d 'Show the processes that hold a text'
complete -c zantop -l log -r -F -d 'Show a recorded day'
complete -c zantop -l begin -x -d 'Leave out what the log has before'
complete -c zantop -l end -x -d 'Leave out what the log has after'
complete -c zantop -l batch -d 'Print plain frames'
complete -c zantop -l graph -xa 'braille block ascii' -d 'Kind of graphs'
complete -c zantop -l theme -xa 'dark light' -d 'Colours for a background'
complete -c zantop -l no-colour -d 'Use no colours'
complete -c zantop -l no-mouse -d 'Leave the mouse to the terminal'
complete -c zantop -s h -l help -d 'Print a short help'
complete -c zantop -s V -l version -d 'Print the version'
