\\ The price of calls from PARI/GP: a median of 3 x 3 bytes and a built-in function, each in its turn, in microseconds, and
\\ a dilation of 2000 x 2000 bytes in milliseconds. Least and median. Usage: gp -fq bench/gp.gp </dev/null

default(parisizemax, "2G");
read("build/release/gp/miravex.gp");

small = [1, 4, 7; 2, 5, 8; 3, 6, 9];
large = matrix(2000, 2000, i, j, 100);
options = ["radius", 1];

elapsed(tried) = my(start = getwalltime()); tried(); getwalltime() - start;
report(name, times, scale) = {
  times = vecsort(times) * scale;
  printf("%-30s least %.2f, median %.2f\n", name, times[1], times[#times \ 2 + 1]);
}

calls = nothing = List();
{
  for(i = 1, 15,
    listput(calls, elapsed(() -> for(k = 1, 20000, mvx_median_filter(small, options))));
    listput(nothing, elapsed(() -> for(k = 1, 20000, mattranspose(small)))));
}
report("median of 3 x 3 bytes, us", Vec(calls), 1. / 20);
report("mattranspose of 3 x 3, us", Vec(nothing), 1. / 20);
report("dilation of 2000 x 2000, ms", vector(7, i, elapsed(() -> mvx_dilation(large, options))), 1.);
quit
