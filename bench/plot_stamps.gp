# The stamp-interval error of the plug-in against stamps taken at arrival (bench_stamps).
#   gnuplot -e "csv='build/release/bench/stamps.csv'; png='stamps.png'" bench/plot_stamps.gp
if (!exists("csv")) csv = 'build/release/bench/stamps.csv'
if (!exists("png")) png = 'performance-stamps.png'

set terminal pngcairo size 1000,700 font ",11"
set output png
set datafile separator ","
set key top right box opaque
set grid ytics
set xlabel "frame interval"
set ylabel "interval - 1/fps (µs)"

stats csv using 2 name "plugin" nooutput
stats csv using 3 name "arrival" nooutput

set multiplot layout 2,1 title "Live virtual camera, 30 fps: error of each frame interval on the host time base"
set title sprintf("both, same scale (std: plug-in %.2f µs, arrival %.1f µs)", plugin_ssd, arrival_ssd)
plot csv using 1:3 every ::1 with lines lw 1 lc rgb "#d95f02" title "stamped at arrival (host clock in the sink)", \
     csv using 1:2 every ::1 with lines lw 2 lc rgb "#1b9e77" title "plug-in stamp"
set title "plug-in stamps only, zoomed"
plot csv using 1:2 every ::1 with lines lw 1 lc rgb "#1b9e77" title "plug-in stamp"
unset multiplot
