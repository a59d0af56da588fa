# gnuplot -e 'log="FILE"; last=1' day.gnuplot >day.svg: draws a daemon's log, of GPUs 0 to `last`.
set terminal svg size 720,520 font "sans-serif,12" background "white"
set multiplot layout 2,1 title "A day of GPUs: temperature, and power of their boards"
set xdata time
set timefmt "%H:%M:%S"
set format x "%H:%M"
set xrange ["00:00:00":"24:00:00"]
set yrange [0:*]
set lmargin 9
set grid
set key outside right top
# What could not be read is to leave a gap.
samples(gpu) = sprintf("< awk '!/^#/ && $2 == %d { gsub(/-/, \"NaN\"); print }' '%s'", gpu, log)
set ylabel "temperature (C)"
plot for [gpu = 0:last] samples(gpu) using 1:4 with lines title sprintf("GPU %d", gpu)
set ylabel "power (W)"
plot for [gpu = 0:last] samples(gpu) using 1:3 with lines title sprintf("GPU %d", gpu)
