# The curves of docs/performance.md. Numbers lie in the folder `data`, pictures go to `docs`.
set terminal pngcairo size 900,480 font "DejaVu Sans,11"
set style data linespoints
set grid
set key top left
set ylabel "processor time, ms for each second of audio"
set logscale xy

set output docs."/performance-blocks.png"
set xlabel "block, samples"
plot for [i=2:6] "< sort -g ".data."/blocks.tsv" using 1:(column(i)*1e3) title word("Tonvale zita zita-V JUCE afir", i-1)

set output docs."/performance-lengths.png"
set xlabel "response, seconds"
plot for [i=2:4] "< sort -g ".data."/lengths-64.tsv" using 1:(column(i)*1e3) title word("Tonvale zita zita-V", i-1)." at 64", \
     for [i=2:4] "< sort -g ".data."/lengths-1024.tsv" using 1:(column(i)*1e3) dashtype 2 title word("Tonvale zita zita-V", i-1)." at 1024"

set output docs."/performance-channels.png"
set xlabel "channels"
plot for [i=2:4] "< sort -g ".data."/channels-64.tsv" using 1:(column(i)*1e3) title word("Tonvale zita zita-V", i-1)." at 64", \
     for [i=2:4] "< sort -g ".data."/channels-1024.tsv" using 1:(column(i)*1e3) dashtype 2 title word("Tonvale zita zita-V", i-1)." at 1024"

set output docs."/performance-instances.png"
set xlabel "stereo instances of 5 s"
set ylabel "load of one core"
plot "< sort -g ".data."/instances-64.tsv" using 1:2 title "blocks of 64", \
     "< sort -g ".data."/instances-1024.tsv" using 1:2 title "blocks of 1024"
