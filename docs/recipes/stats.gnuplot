# gnuplot -e 'table="FILE"' stats.gnuplot >stats.svg: draws what stats-table made of power and
# temperature of one GPU.
set terminal svg size 720,360 font "sans-serif,12" background "white"
set title "One GPU: its temperature, and the power of its board"
set datafile separator ","
set xdata time
set timefmt "%s"
set format x "%H:%M:%S"
set grid
set key outside bottom center horizontal
set xtics rotate by -30
set ylabel "power (W)"
set y2label "temperature (C)"
set ytics nomirror
set y2tics
set yrange [0:100<*]
set y2range [0:100<*]
set xrange [*:*] noextend
# What could not be read is to leave a gap; the second GPU of a board tells no power at all.
values = "< sed -e :a -e 's/,,/,NaN,/; ta' -e 's/,$/,NaN/' '".table."'"
plot values using "time":"pwrDraw" with steps title "power of the board", \
     values using "time":"temp" axes x1y2 with steps linewidth 2 title "temperature", \
     values using "time":(0) with impulses notitle
