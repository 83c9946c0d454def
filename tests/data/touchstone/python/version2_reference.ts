! Version 2, three ports with different references.
[Version] 2.0
# GHz S RI R 50
[Number of Ports] 3
[Number of Frequencies] 2
[Reference] 50 75 100
[Network Data]
1.0   0.10 0.01   0.80 -0.10   0.05 0.00
      0.80 -0.10   0.12 0.02   0.04 0.01
      0.05 0.00   0.04 0.01   0.09 -0.03
2.0   0.12 0.02   0.78 -0.20   0.06 0.01
      0.78 -0.20   0.13 0.03   0.05 0.02
      0.06 0.01   0.05 0.02   0.10 -0.04
[End]
