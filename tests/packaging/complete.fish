# Completes the lines of $cases, each twice: with all that is offered, and as the tab key does where
# one word alone is. The results come out on $results.
for script in $scripts/fish/vendor_completions.d/*.fish
    source $script
end
for typed in (cat $cases)
    set -l head (string replace -r '\S*$' '' -- $typed)
    set -l offered (complete -C $typed | string replace -r '\t.*' '')
    set -q offered[1]; or set offered (string match -r '\S*$' -- $typed)
    echo "$head$offered" >>$results
    echo "$head$offered[1]" >>$results
end
