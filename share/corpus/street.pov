// A street: cars in two lanes, Count people on the pavements, posts before them, a door that opens, signs
// that blink and turn, birds that pass close by in two or three frames. Prop: the letter box at the kerb.
// Kind 0: by day; 1: by night, wet, with lit signs and windows; 2: a crowd close by; 3: a tram that passes
// close by. AfterCut: seen from a window.
#include "set.inc"

#declare Night = (Kind = 1 ? 1 : 0);
#declare Day = (Night ? 0.08 : 1);
#if (AfterCut)
    Look(<-5.5, 4.2, -5.5>, <0.5, 0.6, 2.2>, 54)
#else
    Look(<0, 1.6, -8>, <0, 1.5, 0>, 52)
#end
Lamp(<-7, 11, -9>, <1.0, 0.94, 0.82> * Day)
Lamp(<9, 8, -12>, <0.34, 0.38, 0.46> * Day * Second)
Sky(<0.55, 0.62, 0.72> * Day, <0.18, 0.32, 0.62> * Day)
#if (Night)
    Lamp(<-2.65, 3.3, -1.9>, <0.4, 0.3, 0.18>)
    Lamp(<6.95, 3.3, -1.9>, <0.4, 0.3, 0.18> * Second)
#end

// Whether something that is lit for `lit` frames of `period` is so now.
#macro Blinks(period, lit, ahead)
    (mod(T + ahead, period) < lit ? 1 : 0)
#end

#macro Lit(tone, isLit)
    #if (isLit)
        Glow(tone)
    #else
        Surface(rgb (tone) * 0.06 + 0.02, 0)
    #end
#end

// Along a way of `reach` units, so long that nobody sees where it begins anew.
#macro Along(start, speed, reach)
    (mod(start + speed * T + reach * 10, reach) - reach / 2)
#end

#macro Wheel(way)
    union {
        cylinder { -z * 0.06, z * 0.06, 0.24 Surface(rgb 0.03, 0) }
        #for (J, 0, 2)
            box { <-0.19, -0.03, -0.08>, <0.19, 0.03, 0.08> rotate z * 60 * J Surface(rgb 0.6, 0.1) }
        #end
        rotate -z * degrees(way / 0.24)
    }
#end

// Goes to the right. `way`: how far it has gone.
#macro Car(tone, way, blinker)
    union {
        box { <-1.15, 0.22, -0.5>, <1.15, 0.68, 0.5> Surface(tone, 0.12) }
        box { <-0.75, 0.68, -0.45>, <0.5, 1.08, 0.45> Surface(tone, 0.12) }
        box { <-0.68, 0.72, -0.46>, <0.42, 1.02, 0.46> Surface(rgb <0.05, 0.07, 0.09>, 0.4) }
        #for (J, -1, 1, 2)
            object { Wheel(way) translate <-0.7, 0.24, 0.48 * J> }
            object { Wheel(way) translate <0.7, 0.24, 0.48 * J> }
            sphere { <1.15, 0.48, 0.36 * J>, 0.09 Lit(<4, 3.6, 2.6>, Night) }
            sphere { <-1.15, 0.5, 0.36 * J>, 0.07 Lit(<2, 0.1, 0.05>, Night) }
        #end
        sphere { <-1.0, 0.55, -0.5>, 0.08 Lit(<3, 1.2, 0.1>, blinker) }
        sphere { <1.0, 0.55, -0.5>, 0.08 Lit(<3, 1.2, 0.1>, blinker) }
    }
#end

// Goes to the right; `step`: how far along its stride, in radians.
#macro Walker(coat, skirt, step)
    union {
        cone { y * 0.75, 0.2, y * 1.42, 0.13 Surface(coat, 0) }
        sphere { y * 1.6, 0.13 Surface(rgb <0.7, 0.48, 0.36>, 0) }
        #for (J, -1, 1, 2)
            cylinder { 0, -y * 0.8, 0.07 rotate z * 26 * J * sin(step) translate <0, 0.8, 0.08 * J> Surface(skirt, 0) }
            cylinder { 0, -y * 0.6, 0.045 rotate -z * 30 * J * sin(step) translate <0, 1.36, 0.2 * J> Surface(coat, 0) }
        #end
        translate y * 0.04 * abs(cos(step))
    }
#end

#macro Walkers(first, last, near, far, slow, fast, reach)
    #for (I, first, last)
        #local speed = (slow + (fast - slow) * Chance(I * 13)) * (Chance(I * 13 + 1) < 0.5 ? -1 : 1);
        #local start = reach * Chance(I * 13 + 2);
        object { Walker(Hue(I * 13 + 3), Hue(I * 13 + 6), abs(speed) * T * 4 + I)
                 #if (speed < 0) rotate y * 180 #end
                 scale 0.9 + 0.2 * Chance(I * 13 + 9)
                 translate <Along(start, speed, reach), 0, near + (far - near) * Chance(I * 13 + 10)> }
    #end
#end

// Through the middle of the picture at frame `at0`.
#macro Bird(at0, speed, high, deep)
    union {
        sphere { 0, 1 scale <0.1, 0.035, 0.035> }
        #for (J, -1, 1, 2)
            triangle { <-0.05, 0, 0>, <0.06, 0, 0>, <0.0, 0.11 * sin(T * 2.1), 0.2 * J> }
        #end
        scale 0.75
        translate <(T - at0) * speed, high, deep>
        Surface(rgb <0.05, 0.05, 0.06>, 0)
    }
#end

#declare Road = union {
    plane { y, -0.06
        Patterned(pigment { granite color_map { [0 rgb 0.06] [1 rgb 0.16] } scale 0.9 }, (Night ? 0.3 : 0.03)) }
    #for (I, -15, 14)
        box { <I * 2, -0.07, 0.92>, <I * 2 + 1, -0.055, 1.0> Surface(rgb 0.7, 0) }
    #end
    #for (I, 0, 1)
        box { <-60, -1, (I ? 2.4 : -60)>, <60, 0, (I ? 9 : -1.6)>
              Patterned(pigment { checker rgb <0.34, 0.32, 0.30> rgb <0.42, 0.40, 0.37> scale 0.5 }, (Night ? 0.15 : 0)) }
    #end
}

#declare Open = Smooth((T - 8 - 20 * Chance(40)) / 12) - Smooth((T - 44 - 8 * Chance(40)) / 14);
#declare Houses = union {
    difference {
        box { <-60, 0, 4.5>, <60, 7, 4.8> }
        box { <0.3, 0, 4>, <1.2, 2.0, 5> }
        box { <-3.2, 0.5, 4>, <-0.4, 2.0, 5> }
        Patterned(pigment { brick rgb <0.5, 0.47, 0.43> rgb 0.25 + 0.25 * <Chance(33), Chance(34), Chance(35)> brick_size <0.5, 0.2, 0.3> mortar 0.03 }, 0)
    }
    box { <-60, 0, 6>, <60, 7, 6.1> Glow(<0.5, 0.36, 0.2> * (Night ? 1 : 0.5)) }
    box { <-3.2, 0.5, 4.6>, <-0.4, 2.0, 4.65> Surface(rgb <0.08, 0.1, 0.12>, 0.45) }
    box { <0, 0, -0.05>, <0.9, 2, 0> rotate y * 100 * Open translate <0.3, 0, 4.55> Surface(Hue(36), 0.05) }
    // Rooms above, whose light goes on and off.
    #for (I, -9, 9)
        #for (J, 0, 1)
            #local number = I * 3 + J * 71 + 900;
            box { <I * 1.7 - 0.4, 2.9 + J * 1.7, 4.45>, <I * 1.7 + 0.4, 4.0 + J * 1.7, 4.55>
                #if (Night & Chance(number + floor((T + 72 * Chance(number)) / 36)) > 0.45)
                    Glow(<0.9, 0.7, 0.4>)
                #else
                    Surface(rgb <0.06, 0.08, 0.1>, 0.4)
                #end
            }
        #end
    #end
    #for (I, -7, 7)
        #if (I != 0)
            box { <I * 3.6 - 1, 0.4, 4.4>, <I * 3.6 + 0.8, 2, 4.55> Surface(Hue(300 + I * 3), 0.25) }
        #end
    #end
    #for (I, 0, 6)
        box { <-3.3 + I * 0.43, 0, -0.9>, <-3.3 + (I + 1) * 0.43, 0.04, 0> rotate -x * 22 translate <0, 2.3, 4.5>
              #if (mod(I, 2)) Surface(rgb 0.75, 0) #else Surface(Hue(39), 0) #end }
    #end
}

#declare Signs = union {
    text { internal 1 "CAFE" 0.06, 0 scale 0.62 translate <-2.5, 2.42, 4.3> Lit(<2.4, 0.5, 0.4>, Blinks(18, 11, 60 * Chance(43))) }
    // Lights that run along the edge of the roof.
    #for (I, 0, 15)
        sphere { <-3.2 + I * 0.19, 2.28, 3.62>, 0.06 Lit(<2.0, 1.6, 0.5>, Blinks(8, 2, -2 * I + 80)) }
    #end
    // A tube that fails: on and off at random, for two frames or more.
    cylinder { <1.5, 2.3, 4.3>, <2.9, 2.3, 4.3>, 0.06 Lit(<0.4, 1.6, 1.8>, (Chance(600 + floor(T / 2)) > 0.3 ? 1 : 0)) }
    // A cube on a post that turns, and a pole with a stripe that runs.
    box { -0.34, 0.34 rotate y * T * 7 translate <1.75, 2.75, 2.8>
          Patterned(pigment { checker Hue(46) rgb 0.8 scale 0.34 }, 0) }
    cylinder { <1.75, 0, 2.8>, <1.75, 2.4, 2.8>, 0.05 Surface(rgb 0.2, 0.1) }
    cylinder { 0, y * 1.1, 0.11
        Patterned(pigment { spiral1 3 color_map { [0 rgb <0.8, 0.1, 0.1>] [0.5 rgb <0.8, 0.1, 0.1>] [0.5 rgb 0.85] [1 rgb 0.85] }
                            scale 0.4 rotate x * 90 rotate y * T * 11 }, 0)
        translate <1.45, 0.9, 4.2> }
    // Red for a while, then green.
    cylinder { <-2.75, 0, -1.9>, <-2.75, 2.7, -1.9>, 0.06 Surface(rgb 0.12, 0.05) }
    box { <-2.9, 2.0, -2.05>, <-2.6, 2.75, -1.85> Surface(rgb 0.05, 0) }
    #declare Phase = mod(T + 48 * Chance(49), 48);
    sphere { <-2.75, 2.57, -2.05>, 0.1 Lit(<3, 0.15, 0.1>, (Phase < 22 ? 1 : 0)) }
    sphere { <-2.75, 2.2, -2.05>, 0.1 Lit(<0.1, 2.2, 0.6>, (Phase < 22 ? 0 : 1)) }
}

#declare Near = union {
    #for (I, -4, 4)
        cylinder { <I * 3.2 + 0.55, 0, -1.9>, <I * 3.2 + 0.55, 3.6, -1.9>, 0.08 Surface(rgb <0.1, 0.13, 0.11>, 0.05) }
        #if (Kind != 1 | mod(I, 2) = 0)
            sphere { <I * 3.2 + 0.55, 3.6, -1.9>, 0.2 Lit(<3, 2.4, 1.5>, Night) }
        #end
    #end
    #if (!Gone)
        union {
            box { <-0.35, 0.5, -0.25>, <0.35, 1.5, 0.25> }
            cylinder { <-0.35, 1.5, 0>, <0.35, 1.5, 0>, 0.25 }
            box { <-0.1, 0, -0.1>, <0.1, 0.5, 0.1> }
            scale PropSize
            translate <2.6 * Chance(70) - 1.3, 0, -2.6>
            Surface(rgb <0.75, 0.55, 0.05>, 0)
        }
    #end
}

#declare World = union {
    object { Road }
    object { Houses }
    object { Signs }
    object { Near }
    #for (I, 0, 7)
        #local way = 7.5 * I + 4 * Chance(200 + I) + 60 * Chance(220);
        object { Car(Hue(230 + I * 3), 0.34 * T, (mod(I, 3) = 0 ? Blinks(10, 5, I * 3) : 0))
                 translate <Along(way, 0.34, 60), -0.06, -0.2> }
        #local way = 7.5 * I + 4 * Chance(260 + I) + 60 * Chance(280);
        object { Car(Hue(290 + I * 3), 0.2 * T, (mod(I, 3) = 1 ? Blinks(12, 6, I * 5) : 0))
                 rotate y * 180 translate <Along(way, -0.2, 60), -0.06, 1.7> }
    #end
    // One that is in a hurry.
    union {
        object { Wheel(T * 0.85) translate x * -0.45 }
        object { Wheel(T * 0.85) translate x * 0.45 }
        box { <-0.5, 0.1, -0.08>, <0.45, 0.35, 0.08> Surface(Hue(330), 0.1) }
        cone { <-0.1, 0.3, 0>, 0.16, <0.1, 0.85, 0>, 0.12 Surface(Hue(333), 0) }
        sphere { <0.16, 1.0, 0>, 0.15 Surface(Hue(336), 0.2) }
        translate <(T - 14 - 44 * Chance(340)) * 0.85, 0.2, 0.75>
    }
    Walkers(20, 19 + Count, 2.7, 3.9, 0.03, 0.07, 40)
    #if (Kind = 2)
        Walkers(60, 75, -5.4, -3.2, 0.07, 0.15, 20)
    #else
        #if (Kind != 3)
            Walkers(60, 64, -4.0, -3.0, 0.05, 0.1, 24)
        #end
    #end
    #if (Kind = 3)
        union {
            box { <-5, 0.1, -0.5>, <5, 0.95, 0.5> Surface(Hue(350), 0.1) }
            box { <-5, 2.15, -0.5>, <5, 2.7, 0.5> Surface(rgb 0.7, 0.05) }
            #for (I, -4, 4)
                box { <I * 1.22 - 0.1, 0.95, -0.5>, <I * 1.48 + 0.1, 2.15, 0.5> Surface(Hue(350), 0) }
            #end
            translate <(T - 32 - 10 * Chance(354)) * 0.6, 0, -3.4>
        }
    #end
    Bird(9 + 12 * Chance(360), 0.42, 1.75, -7.0)
    Bird(30 + 12 * Chance(361), -0.5, 1.45, -6.8)
    Bird(52 + 14 * Chance(362), 0.33, 1.85, -6.9)
}
Show(World)
