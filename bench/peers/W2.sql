select dir || '/' || name from f where size > 4194304 and name glob '*.log' and type <> 'dir';
