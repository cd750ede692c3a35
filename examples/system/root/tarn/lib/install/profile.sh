# Every package script begins by reading this.
PATH=/bin
export PATH
