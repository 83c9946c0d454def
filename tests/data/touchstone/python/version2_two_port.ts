! Version 2, a 2-port in row-major order (12_21) with noise data.
[Version] 2.0
# GHz S MA R 50
[Number of Ports] 2
[Two-Port Data Order] 12_21
[Number of Frequencies] 2
[Number of Noise Frequencies] 2
[Network Data]
1.0   0.3 -30   0.02 60   4.0 120   0.25 -40
2.0   0.28 -55  0.03 50   3.2 95    0.22 -70
[Noise Data]
1.0   0.6  0.45 30  16.0
2.0   0.8  0.40 60  14.5
[End]
