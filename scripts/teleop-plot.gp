# SPDX-License-Identifier: MIT
# Plots a run of the teleop example recorded with --csv: the leader's and the follower's paths
# (each in its own base frame, seen along the circle's axis) and the coupling force over time.
#   gnuplot -e "csv='teleop.csv'; png='teleop.png'" scripts/teleop-plot.gp
set datafile separator ','
set terminal pngcairo size 1000,900 font 'sans,10'
set output png
set multiplot layout 2,1 title 'teleop: the follower pulled towards the leader over DDS'
set grid
set key top right

set size ratio -1
set xlabel 'x (mm)'
set ylabel 'y (mm)'
plot csv using ($2*1000):($3*1000) every ::1 with lines lw 2 title 'leader (scripted hand)', \
     csv using ($5*1000):($6*1000) every ::1 with lines lw 1 title 'follower'

set size noratio
set xlabel 'time (s)'
set ylabel 'force on the follower (N)'
plot csv using 1:8 every ::1 with lines title 'x', \
     csv using 1:9 every ::1 with lines title 'y', \
     csv using 1:10 every ::1 with lines title 'z', \
     csv using 1:(sqrt($8**2 + $9**2 + $10**2)) every ::1 with lines lw 2 title '|force| (the leader feels its opposite)'
unset multiplot
