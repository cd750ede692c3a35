#!/bin/bash
. /opt/entries/defaults
echo "all is well" >"$folder/$1"
