# Two panels: library against hand-written for each operation, and the cost of an extreme over the window's length.
set terminal pngcairo size 1500,620 font 'DejaVu Sans,11'
set output picture
set multiplot layout 1,2
set grid ytics lc rgb '#dddddd'

set title 'One sample, library / hand-written'
set style data histogram
set style histogram clustered gap 1
set style fill solid noborder
set xtics rotate by -40 noenhanced font ",9"
set yrange [0:1.6]
set ylabel 'ratio of times'
set key top left
set bmargin 10
plot data index 0 using 2:xtic(1) title 'plain' lc rgb '#4477aa', '' index 0 using 3 title 'NoValue-aware' lc rgb '#ee9944', \
    1 with lines title '' lc rgb '#444444'

set title 'One sample of Max, random samples'
set style data linespoints
set xtics norotate enhanced font ',11'
set logscale xy
set format x '10^{%L}'
set yrange [5:3000]
set xlabel 'window in samples'
set ylabel 'ns'
set bmargin 10
plot data index 1 using 1:5 title 'std::multiset' lw 2, '' index 1 using 1:4 title 'std::deque wedge' lw 2, \
    '' index 1 using 1:3 title 'hand-written' lw 2, '' index 1 using 1:2 title 'library' lw 2
unset multiplot
