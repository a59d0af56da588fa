# gnuplot -e 'table="FILE"' stats.gnuplot >stats.svg: draws what stats-table made of power and
# temperature of one GPU.
set terminal svg size 720,320 font "sans-serif,12" background "white"
set datafile separator ","
set xdata time
set timefmt "%s"
set format x "%H:%M:%S"
set xtics 30
set grid
set key outside top center horizontal
set ylabel "power (W)"
set y2label "temperature (C)"
set ytics nomirror
set y2tics
plot table using "time":"pwrDraw" with steps title "power", \
     table using "time":"temp" axes x1y2 with steps title "temperature"
