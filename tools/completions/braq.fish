# fish completion for braq(1)

function __braq_devices
    braq devices --json 2>/dev/null | string replace --filter --regex '^ *"uid": "(.*)",$' '$1'
end

complete -c braq -f
complete -c braq -s h -l help -d 'Print a help message'
complete -c braq -n __fish_use_subcommand -l version -d 'Print the version'

complete -c braq -n __fish_use_subcommand -a devices -d 'List the audio devices'
complete -c braq -n __fish_use_subcommand -a meter -d "Show the input level of a device"
complete -c braq -n __fish_use_subcommand -a play -d 'Play audio files'
complete -c braq -n __fish_use_subcommand -a record -d "Record a device's input into an audio file"
complete -c braq -n __fish_use_subcommand -a info -d 'Show the format and levels of audio files'

complete -c braq -n '__fish_seen_subcommand_from devices' -l json -d 'As JSON, for programs'
complete -c braq -n '__fish_seen_subcommand_from devices' -l watch -d 'Then report changes'

complete -c braq -n '__fish_seen_subcommand_from meter' -a '(__braq_devices)' -d 'Audio device'
complete -c braq -n '__fish_seen_subcommand_from meter' -x -l channels -d 'Channels to show, such as 1,2'

complete -c braq -n '__fish_seen_subcommand_from play' -F
complete -c braq -n '__fish_seen_subcommand_from play' -x -l device -a '(__braq_devices)' -d 'The device to play on'
complete -c braq -n '__fish_seen_subcommand_from play' -x -l speed -d '1/32 to 32, negative plays backwards from the end'
complete -c braq -n '__fish_seen_subcommand_from play' -l keep-pitch -d 'At other speeds, from 1/4 to 4'
complete -c braq -n '__fish_seen_subcommand_from play' -x -l volume -d 'In dB, -120 to 24'
complete -c braq -n '__fish_seen_subcommand_from play' -x -l start -d 'Position in the first file, such as 1:30'
complete -c braq -n '__fish_seen_subcommand_from play' -l loop -d 'Loop the file, gapless'
complete -c braq -n '__fish_seen_subcommand_from play' -l shuffle -d 'Play the files in random order'
complete -c braq -n '__fish_seen_subcommand_from play' -l repeat -d 'Begin again after the last file'
complete -c braq -n '__fish_seen_subcommand_from play' -l unscaled-downmix -d 'Do not scale mixed channels'

complete -c braq -n '__fish_seen_subcommand_from record' -F
complete -c braq -n '__fish_seen_subcommand_from record' -x -l device -a '(__braq_devices)' -d 'The device to record'
complete -c braq -n '__fish_seen_subcommand_from record' -x -l format \
    -a 'pcm16 pcm24 pcm32 float flac flac24 alac alac24 aac' -d 'Format of the file'
complete -c braq -n '__fish_seen_subcommand_from record' -x -l channels -d 'Device channels to record, such as 1,2'
complete -c braq -n '__fish_seen_subcommand_from record' -x -l duration -d 'Length of the recording, such as 1:30'
complete -c braq -n '__fish_seen_subcommand_from record' -x -l rate -d 'Sample rate of the file in Hz'
complete -c braq -n '__fish_seen_subcommand_from record' -l force -d 'Replace an existing file'

complete -c braq -n '__fish_seen_subcommand_from info' -F
complete -c braq -n '__fish_seen_subcommand_from info' -l json -d 'As JSON, for programs'
complete -c braq -n '__fish_seen_subcommand_from info' -r -F -l waveform -d 'Draw the waveform into this PNG file'
complete -c braq -n '__fish_seen_subcommand_from info' -x -l size -d 'Width and height of the picture, such as 1200x400'
