# Completion of pdactl in fish. The program itself tells what completes it.
pdactl completion fish 2> /dev/null | source
