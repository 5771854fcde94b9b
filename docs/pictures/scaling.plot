# SPDX-License-Identifier: Apache-2.0
# What clusters of Serf agents cost wispd, and how soon clients receive deaths. serf_scale --data writes scaling.dat.
set terminal svg size 720,440 font "Helvetica,12" linewidth 1.5
set logscale xy 10
set xrange [8:400]
set yrange [0.5:100]
set xtics (10, 50, 150, 300)
set format y "%g"
set xlabel "agents"
set grid
set key outside right center
plot "scaling.dat" using 2:(strcol(1) eq "detection" ? $3 : NaN) with linespoints pointtype 7 pointsize 0.5 title "detection, s", \
     "scaling.dat" using 2:(strcol(1) eq "all-reported" ? $3 : NaN) with linespoints pointtype 7 pointsize 0.5 title "last client, s", \
     "scaling.dat" using 2:(strcol(1) eq "behind-agent" ? $3 * 1e3 : NaN) with linespoints pointtype 7 pointsize 0.5 title "behind agent, ms", \
     "scaling.dat" using 2:(strcol(1) eq "processor" ? $3 * 1e3 : NaN) with linespoints pointtype 7 pointsize 0.5 title "processor, ms", \
     "scaling.dat" using 2:(strcol(1) eq "memory" ? $3 / 1e6 : NaN) with linespoints pointtype 7 pointsize 0.5 title "memory, MB", \
     "scaling.dat" using 2:(strcol(1) eq "start-bytes" ? $3 / 1e3 : NaN) with linespoints pointtype 7 pointsize 0.5 title "bytes at start, kB"
