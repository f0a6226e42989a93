pragma mmap_size = 34359738368;
pragma cache_size = -1000000;
pragma temp_store = memory;
.mode list
.separator ,
