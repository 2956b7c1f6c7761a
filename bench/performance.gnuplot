# Draws the medians that vorn_compare has left in the file `figures`.
set terminal svg size 900,430 font "sans-serif,12" background "white"
set datafile separator "\t"
set multiplot layout 1,2 title "Time of one call in microseconds, shorter is better (logarithmic)"
set style data histograms
set style histogram clustered gap 1
set style fill solid 1.0 noborder
set boxwidth 0.9
set logscale y
set yrange [2:100000]
set grid ytics linecolor rgb "#dddddd"
set border 3 linecolor rgb "#777777"
set tics nomirror scale 0 textcolor rgb "#333333"
set xtics rotate by -35
set key top left reverse Left samplen 1

shown = "append 4096,read 4096,overwrite 4096,read 1 MiB,overwrite 1 MiB"
select(place) = sprintf("< awk -F'\t' -v place='%s' -v shown='%s' 'BEGIN { n = split(shown, names, \",\") } \
    $1 == place { row[$2] = $0 } END { for (i = 1; i <= n; i++) print row[names[i]] }' '%s'", place, shown, figures)

do for [place in "disk tmpfs"] {
    set title (place eq "disk" ? "on a disk" : "in memory")
    plot select(place) using 5:xticlabels(2) title "plain file" linecolor rgb "#b0b0b0", \
         "" using 3 title "least work" linecolor rgb "#7fb7d9", \
         "" using 4 title "libvorn" linecolor rgb "#1f5f99", \
         "" using 6 title "SQLCipher" linecolor rgb "#e0954a", \
         "" using 7 title "SQLCipher with WAL" linecolor rgb "#f2cfa6"
    unset key
}
