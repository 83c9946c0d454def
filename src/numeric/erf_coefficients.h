// Coefficients of the freely distributable fdlibm erf/erfc routine (s_erf.c,
// version 1.3), given by their IEEE-754 bit patterns.  Names follow the
// published routine:
//   pp*, qq*  erf rational approximation on |x| < 0.84375 (in z = x*x)
//   pa*, qa*  erf(1 + s) - erx on 0.84375 <= |x| < 1.25 (s = |x| - 1)
//   ra*, sa*  asymptotic correction on 1.25 <= |x| < 1/0.35 (s = 1/x^2)
//   rb*, sb*  asymptotic correction on 1/0.35 <= |x| < 28
//   erx       erf(1) rounded to 24 bits; efx, efx8 = 2/sqrt(pi) - 1 and 8 times it
#pragma once

#include <bit>
#include <cstdint>

namespace zefra::erf_coefficients {

inline constexpr double erx = std::bit_cast<double>(uint64_t{0x3FEB0AC160000000});  // 8.45062911510467529297e-01
inline constexpr double efx = std::bit_cast<double>(uint64_t{0x3FC06EBA8214DB69});  // 1.28379167095512586316e-01
inline constexpr double efx8 = std::bit_cast<double>(uint64_t{0x3FF06EBA8214DB69});  // 1.02703333676410069053e+00
inline constexpr double pp0 = std::bit_cast<double>(uint64_t{0x3FC06EBA8214DB68});  // 1.28379167095512558561e-01
inline constexpr double pp1 = std::bit_cast<double>(uint64_t{0xBFD4CD7D691CB913});  // -3.25042107247001499370e-01
inline constexpr double pp2 = std::bit_cast<double>(uint64_t{0xBF9D2A51DBD7194F});  // -2.84817495755985104766e-02
inline constexpr double pp3 = std::bit_cast<double>(uint64_t{0xBF77A291236668E4});  // -5.77027029648944159157e-03
inline constexpr double pp4 = std::bit_cast<double>(uint64_t{0xBEF8EAD6120016AC});  // -2.37630166566501626084e-05
inline constexpr double qq1 = std::bit_cast<double>(uint64_t{0x3FD97779CDDADC09});  // 3.97917223959155352819e-01
inline constexpr double qq2 = std::bit_cast<double>(uint64_t{0x3FB0A54C5536CEBA});  // 6.50222499887672944485e-02
inline constexpr double qq3 = std::bit_cast<double>(uint64_t{0x3F74D022C4D36B0F});  // 5.08130628187576562776e-03
inline constexpr double qq4 = std::bit_cast<double>(uint64_t{0x3F215DC9221C1A10});  // 1.32494738004321644526e-04
inline constexpr double qq5 = std::bit_cast<double>(uint64_t{0xBED09C4342A26120});  // -3.96022827877536812320e-06
inline constexpr double pa0 = std::bit_cast<double>(uint64_t{0xBF6359B8BEF77538});  // -2.36211856075265944077e-03
inline constexpr double pa1 = std::bit_cast<double>(uint64_t{0x3FDA8D00AD92B34D});  // 4.14856118683748331666e-01
inline constexpr double pa2 = std::bit_cast<double>(uint64_t{0xBFD7D240FBB8C3F1});  // -3.72207876035701323847e-01
inline constexpr double pa3 = std::bit_cast<double>(uint64_t{0x3FD45FCA805120E4});  // 3.18346619901161753674e-01
inline constexpr double pa4 = std::bit_cast<double>(uint64_t{0xBFBC63983D3E28EC});  // -1.10894694282396677476e-01
inline constexpr double pa5 = std::bit_cast<double>(uint64_t{0x3FA22A36599795EB});  // 3.54783043256182359371e-02
inline constexpr double pa6 = std::bit_cast<double>(uint64_t{0xBF61BF380A96073F});  // -2.16637559486879084300e-03
inline constexpr double qa1 = std::bit_cast<double>(uint64_t{0x3FBB3E6618EEE323});  // 1.06420880400844228286e-01
inline constexpr double qa2 = std::bit_cast<double>(uint64_t{0x3FE14AF092EB6F33});  // 5.40397917702171048937e-01
inline constexpr double qa3 = std::bit_cast<double>(uint64_t{0x3FB2635CD99FE9A7});  // 7.18286544141962662868e-02
inline constexpr double qa4 = std::bit_cast<double>(uint64_t{0x3FC02660E763351F});  // 1.26171219808761642112e-01
inline constexpr double qa5 = std::bit_cast<double>(uint64_t{0x3F8BEDC26B51DD1C});  // 1.36370839120290507362e-02
inline constexpr double qa6 = std::bit_cast<double>(uint64_t{0x3F888B545735151D});  // 1.19844998467991074170e-02
inline constexpr double ra0 = std::bit_cast<double>(uint64_t{0xBF843412600D6435});  // -9.86494403484714822705e-03
inline constexpr double ra1 = std::bit_cast<double>(uint64_t{0xBFE63416E4BA7360});  // -6.93858572707181764372e-01
inline constexpr double ra2 = std::bit_cast<double>(uint64_t{0xC0251E0441B0E726});  // -1.05586262253232909814e+01
inline constexpr double ra3 = std::bit_cast<double>(uint64_t{0xC04F300AE4CBA38D});  // -6.23753324503260060396e+01
inline constexpr double ra4 = std::bit_cast<double>(uint64_t{0xC0644CB184282266});  // -1.62396669462573470355e+02
inline constexpr double ra5 = std::bit_cast<double>(uint64_t{0xC067135CEBCCABB2});  // -1.84605092906711035994e+02
inline constexpr double ra6 = std::bit_cast<double>(uint64_t{0xC054526557E4D2F2});  // -8.12874355063065934246e+01
inline constexpr double ra7 = std::bit_cast<double>(uint64_t{0xC023A0EFC69AC25C});  // -9.81432934416914548592e+00
inline constexpr double sa1 = std::bit_cast<double>(uint64_t{0x4033A6B9BD707687});  // 1.96512716674392571292e+01
inline constexpr double sa2 = std::bit_cast<double>(uint64_t{0x4061350C526AE721});  // 1.37657754143519042600e+02
inline constexpr double sa3 = std::bit_cast<double>(uint64_t{0x407B290DD58A1A71});  // 4.34565877475229228821e+02
inline constexpr double sa4 = std::bit_cast<double>(uint64_t{0x40842B1921EC2868});  // 6.45387271733267880336e+02
inline constexpr double sa5 = std::bit_cast<double>(uint64_t{0x407AD02157700314});  // 4.29008140027567833386e+02
inline constexpr double sa6 = std::bit_cast<double>(uint64_t{0x405B28A3EE48AE2C});  // 1.08635005541779435134e+02
inline constexpr double sa7 = std::bit_cast<double>(uint64_t{0x401A47EF8E484A93});  // 6.57024977031928170135e+00
inline constexpr double sa8 = std::bit_cast<double>(uint64_t{0xBFAEEFF2EE749A62});  // -6.04244152148580987438e-02
inline constexpr double rb0 = std::bit_cast<double>(uint64_t{0xBF84341239E86F4A});  // -9.86494292470009928597e-03
inline constexpr double rb1 = std::bit_cast<double>(uint64_t{0xBFE993BA70C285DE});  // -7.99283237680523006574e-01
inline constexpr double rb2 = std::bit_cast<double>(uint64_t{0xC031C209555F995A});  // -1.77579549177547519889e+01
inline constexpr double rb3 = std::bit_cast<double>(uint64_t{0xC064145D43C5ED98});  // -1.60636384855821916062e+02
inline constexpr double rb4 = std::bit_cast<double>(uint64_t{0xC083EC881375F228});  // -6.37566443368389627722e+02
inline constexpr double rb5 = std::bit_cast<double>(uint64_t{0xC09004616A2E5992});  // -1.02509513161107724954e+03
inline constexpr double rb6 = std::bit_cast<double>(uint64_t{0xC07E384E9BDC383F});  // -4.83519191608651397019e+02
inline constexpr double sb1 = std::bit_cast<double>(uint64_t{0x403E568B261D5190});  // 3.03380607434824582924e+01
inline constexpr double sb2 = std::bit_cast<double>(uint64_t{0x40745CAE221B9F0A});  // 3.25792512996573918826e+02
inline constexpr double sb3 = std::bit_cast<double>(uint64_t{0x409802EB189D5118});  // 1.53672958608443695994e+03
inline constexpr double sb4 = std::bit_cast<double>(uint64_t{0x40A8FFB7688C246A});  // 3.19985821950859553908e+03
inline constexpr double sb5 = std::bit_cast<double>(uint64_t{0x40A3F219CEDF3BE6});  // 2.55305040643316442583e+03
inline constexpr double sb6 = std::bit_cast<double>(uint64_t{0x407DA874E79FE763});  // 4.74528541206955367215e+02
inline constexpr double sb7 = std::bit_cast<double>(uint64_t{0xC03670E242712D62});  // -2.24409524465858183362e+01

}  // namespace zefra::erf_coefficients
