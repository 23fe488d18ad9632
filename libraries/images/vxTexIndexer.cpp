// Per-axis image indexing.
