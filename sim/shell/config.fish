# What fish reads on a simulated machine behind the user's own files: the prompt.
if status is-interactive
    functions --copy fish_prompt zansim_fish_prompt
    function fish_prompt
        echo -n "[zansim $ZANSIM_NAME] "
        zansim_fish_prompt
    end
end
