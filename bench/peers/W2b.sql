select dir || '/' || name from f where modified >= '2024' and type <> 'dir';
