# Completion of @program@ in fish: the options are those of its --help, the plugins vesk-list's.

function __vesk_chains
    set -l token (commandline -ct | string trim -l -c '\'"')
    set -l head (string match -r '^.*\|' -- $token)
    set -l last (string replace -r '^.*\|' '' -- $token)
    if string match -qr '^[^@]*:[^@]*@' -- $last
        set -l before "$head"(string replace -r '@.*' '@' -- $last)
        set -l path (string replace -r '^[^@]*@' '' -- $last)
        for file in $path*.aupreset $path*/
            echo $before$file
        end
        return
    end
    for line in (command vesk-list 2>/dev/null)
        set -l columns (string split \t -- $line)
        if test -z "$head"; or string match -qr '^auf[xm]:' -- $columns[4]
            printf '%s\t%s\n' "$head$columns[1]" "$columns[3], $columns[4]" "$head$columns[4]" $columns[1]
        end
    end
end

function __vesk_complete --argument-names program
    complete -c $program -e
    complete -c $program -f
    set -l lines (command $program --help 2>/dev/null | awk '
@options_awk@')
    for line in $lines
        set -l fields (string split -m 4 '|' -- $line)
        set -l name (string replace -r '^--' '' -- $fields[2])
        if test $fields[1] = option
            set -l options -c $program -l $name -d $fields[5]
            test -n "$fields[3]"; and set -a options -s (string sub -s 2 -- $fields[3])
            switch $fields[4]
                case chain
                    complete $options -x -a '(__vesk_chains)'
                case file
                    complete $options -r -F
                case text
                    set -l words (string replace -rf "^value\|--$name\|([^|]*)\|.*" '$1' -- $lines)
                    complete $options -x -a "$words"
                case nothing
                    complete $options
            end
        else if test $fields[1] = operand
            contains chain $fields[2..3]; and complete -c $program -a '(__vesk_chains)'
            # Options may stand before the first operand, so that is not told from later ones.
            contains file $fields[2..3]; and complete -c $program -F
        end
    end
end

__vesk_complete @program@
