# SPDX-License-Identifier: Apache-2.0
# How costs grow with the work. hb_bench --growth writes growth.dat.
set terminal svg size 720,440 font "Helvetica,12" linewidth 1.5
set logscale x 4
set logscale y 10
set xrange [0.9:70]
set xtics (1, 4, 16, 64)
set format y "%g"
set xlabel "times the smallest work"
set ylabel "milliseconds"
set grid
set key outside right center
lines = "open load compare event subscription fan-out change"
limit(x) = 0.3 * x ** (log(5) / log(4))
plot for [name in lines] "growth.dat" using 2:(strcol(1) eq name ? $3 * 1000 : NaN) with linespoints pointtype 7 pointsize 0.5 title name, \
     limit(x) with lines dashtype 2 linecolor rgb "gray" title "limit: 5 for 4"
