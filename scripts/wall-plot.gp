# SPDX-License-Identifier: MIT
# Plots a run of the wall example recorded with --csv: how deep the handle is in the wall, and
# the force rendered with the safe-start ramp, over time.
#   gnuplot -e "csv='run.csv'; png='run.png'; rest_mm=4" scripts/wall-plot.gp
set datafile separator ','
set terminal pngcairo size 1000,700 font 'sans,10'
set output png
set multiplot layout 2,1 title 'wall: a scripted hand pushes the handle into the wall'
set grid
set key top right
set xlabel 'time (s)'

set ylabel 'penetration (mm)'
plot csv using 1:5 every ::1 with lines lw 2 title 'penetration into the wall', \
     rest_mm with lines lc rgb 'gray' dt 2 title 'hand force / wall stiffness'

set key right center
set ylabel 'force (N)'
set y2label 'ramp'
set y2range [0:1.05]
set y2tics 0.25
plot csv using 1:(-$8) every ::1 with lines lw 2 title 'wall force (-fz)', \
     csv using 1:(sqrt($6**2 + $7**2 + $8**2)) every ::1 with lines lw 1 title '|force|', \
     csv using 1:9 every ::1 axes x1y2 with lines lc rgb 'gray' dt 2 title 'ramp (right axis)'
unset multiplot
