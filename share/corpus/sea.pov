// Water with waves, foam and glitter: boats, a flag, a rock where spray breaks, clouds, gulls. Count boats.
// Prop: the buoy. Kind 0: sun; 1: a storm, with lightning that lights all for two or three frames at a time;
// 2: no water but grass in the wind and shadows of clouds over it; 3: a fire on the beach at dusk, with
// smoke. AfterCut: from higher up, against the light.
#include "set.inc"

// A ray goes through many puffs of smoke.
global_settings { max_trace_level 24 }

#declare Storm = (Kind = 1 ? 1 : 0);
#declare Dusk = (Kind = 3 ? 1 : 0);
#declare Field = (Kind = 2 ? 1 : 0);
#declare Wind = (Storm ? 1.7 : 1);

// Lightning: two bright frames, a pause, two more, and the rest of it.
#declare Bolts = array[9] { 1, 0.75, 0.12, 0.08, 0.9, 0.8, 0.35, 0.18, 0.06 }
#declare Bolt = 0;
#declare Struck = 0;
#if (Storm)
    #for (I, 0, 2)
        #local since = T - floor(8 + 22 * I + 12 * Chance(400 + I));
        #if (since >= 0 & since < 9)
            #declare Bolt = Bolts[since];
            #declare Struck = I;
        #end
    #end
    #declare Level = Level * (1 + 4 * Bolt);
#end

#declare Day = (Storm ? 0.22 : (Dusk ? 0.16 : 1));
#if (AfterCut)
    Look(<2.5, 3.6, -9>, <0.5, 0.4, 3>, 56)
#else
    Look(<0, 1.3, -8>, <0, 1.1, 0>, 50)
#end
#if (AfterCut)
    Lamp(<30, 60, 80>, <1.2, 1.0, 0.8> * Day)
#else
    Lamp(<-50, 70, -30>, <1.1, 1.02, 0.9> * Day)
#end
Lamp(<20, 9, -30>, <0.3, 0.36, 0.46> * Day * Second)
#if (Dusk)
    Sky(<0.62, 0.30, 0.14>, <0.06, 0.07, 0.17>)
#else
    Sky(<0.62, 0.70, 0.78> * Day, <0.16, 0.33, 0.68> * Day)
#end

// Seen from any side the same, and lit by nothing: clouds, smoke, flames.
#macro Veil(paint)
    pigment { paint }
    finish { emission 1 diffuse 0 }
#end

#macro Swell(across, along)
    (0.06 * Wind * (sin(across * 1.3 + along * 2.1 - T * 0.21) + 0.7 * sin(along * 3.1 - across * 0.8 - T * 0.27)))
#end

#macro Gust(across, along)
    (0.5 + 0.35 * sin(across * 0.7 + along * 0.5 - T * 0.16) + 0.2 * sin(across * 1.9 - T * 0.31 + along))
#end

#macro Cloth(wide, high, tone, number)
    mesh {
        #for (I, 0, 11)
            #local a = I / 12;
            #local b = (I + 1) / 12;
            #local za = 0.16 * wide * a * sin(a * 8 - T * 0.5 * Wind + number);
            #local zb = 0.16 * wide * b * sin(b * 8 - T * 0.5 * Wind + number);
            #local da = 0.05 * wide * a * sin(a * 5 - T * 0.37 * Wind + number);
            #local db = 0.05 * wide * b * sin(b * 5 - T * 0.37 * Wind + number);
            triangle { <a * wide, da, za>, <b * wide, db, zb>, <b * wide, db + high, zb> }
            triangle { <a * wide, da, za>, <b * wide, db + high, zb>, <a * wide, da + high, za> }
        #end
        Patterned(pigment { gradient y color_map { [0.5 tone] [0.5 rgb 0.85] } scale high * 2 / 3 }, 0)
    }
#end

#macro Boat(number, extent, place)
    union {
        intersection {
            sphere { 0, 1 scale <1, 0.45, 0.35> }
            plane { y, 0 }
            Surface(Hue(number), 0.05)
        }
        cylinder { 0, y * 1.9, 0.03 Surface(rgb 0.3, 0) }
        triangle { <0.06, 0.2, 0>, <0.06, 1.85, 0>, <0.85, 0.25, -0.1> Surface(rgb <0.9, 0.88, 0.8>, 0) }
        triangle { <-0.06, 0.2, 0>, <-0.06, 1.6, 0>, <-0.75, 0.2, -0.1> Surface(Hue(number + 3), 0) }
        translate y * 0.18
        rotate z * 7 * Wind * sin(T * 0.19 + number)
        rotate x * 4 * Wind * sin(T * 0.23 + number)
        scale extent
        translate place + y * Swell(place.x, place.z)
    }
#end

#declare Ground = union {
    #if (Field)
        plane { y, 0
            Patterned(pigment { bozo turbulence 0.3
                                color_map { [0.25 rgb <0.12, 0.22, 0.05>] [0.55 rgb <0.24, 0.36, 0.09>] [0.8 rgb <0.42, 0.46, 0.18>] }
                                scale <2.4, 1, 0.9> translate <T * 0.11, 0, T * 0.03> }, 0) }
    #else
        plane { y, 0
            #if (!Depth)
                pigment { wrinkles turbulence 0.4
                          color_map { [0 rgb <0.02, 0.10, 0.14>] [0.62 - 0.1 * Storm rgb <0.04, 0.17, 0.20>]
                                      [0.80 - 0.1 * Storm rgb <0.6, 0.66, 0.68>] [1 rgb 0.8] }
                          scale <1.6, 1, 0.8> translate <T * 0.014, T * 0.02, -T * 0.05> }
                normal { average normal_map {
                    [1 bumps 0.9 * Wind scale <1.1, 0.5, 0.4> translate <T * 0.02, T * 0.02, -T * 0.05 * Wind>]
                    [1 bumps 0.9 * Wind scale <0.3, 0.2, 0.13> translate <-T * 0.016, T * 0.02, -T * 0.03 * Wind>]
                    #if (Grain > 0)
                        [0.5 bumps Grain * 3 scale 0.00013 translate GrainPlace]
                    #end
                } }
                finish { diffuse 0.7 specular 0.9 roughness 0.012 reflection 0.4 }
            #end
        }
    #end
    #if (Dusk)
        box { <-60, -1, -60>, <60, 0.06, -3.6>
              Patterned(pigment { bozo color_map { [0 rgb <0.35, 0.28, 0.19>] [1 rgb <0.5, 0.42, 0.3>] } scale 0.4 }, 0) }
    #end
}

// They go over the sky, and their shadow over the ground.
#declare Clouds = union {
    #if (!Depth)
        plane { y, 24
            Veil(pigment { bozo turbulence 0.55 octaves 5 lambda 2.3
                color_map { [0.38 - 0.35 * Storm rgb <0.85, 0.86, 0.9> * Day * Level transmit 1] [0.62 - 0.3 * Storm rgb <0.85, 0.86, 0.9> * Day * Level]
                            [1 rgb <0.5, 0.52, 0.56> * Day * Level] }
                scale <16, 10, 16> translate <T * 0.22 * Wind + 50 * Chance(410), 0, -T * 0.06> })
            hollow }
    #end
}

#declare Grass = union {
    #for (J, 0, 3)
        mesh {
            #for (I, 0, 109)
                #local deep = -6.6 + 6.5 * Chance(1000 + J * 330 + I * 3);
                #local across = (Chance(1001 + J * 330 + I * 3) - 0.5) * (10 + deep) * 2.4;
                #local tall = 0.25 + 0.45 * Chance(1002 + J * 330 + I * 3);
                #local lean = tall * Gust(across, deep);
                triangle { <across - 0.03, 0, deep>, <across + 0.03, 0, deep>, <across + lean, tall * (1.15 - 0.4 * Gust(across, deep)), deep> }
            #end
            Surface(rgb <0.25 + 0.12 * J, 0.42 + 0.06 * J, 0.1>, 0)
        }
    #end
}

// Each drop lives as long as the burst it was thrown in.
#declare Spray = union {
    #for (I, 1, 70)
        #local age = mod(T + 26 * Chance(420) + 2.5 * Chance(2000 + I * 4), 26);
        #if (age < 15)
            #local along = age / 10;
            sphere { <2.3 + (Chance(2001 + I * 4) - 0.5) * 1.5 * along, 0.1 + (1.3 + 1.5 * Chance(2002 + I * 4)) * Wind * along - 1.5 * along * along,
                      -0.9 + (Chance(2003 + I * 4) - 0.6) * along>, 0.022 + 0.03 * Chance(2004 + I * 4) }
        #end
    #end
    sphere { <2.3, -1, 0>, 0.1 }
    Glow(<0.8, 0.84, 0.88> * (Storm ? 0.3 : 0.9))
}

#macro Gull(at0, speed, high, deep)
    union {
        sphere { 0, 1 scale <0.16, 0.05, 0.05> }
        #for (J, -1, 1, 2)
            triangle { <-0.08, 0, 0>, <0.08, 0, 0>, <-0.02, 0.22 * sin(T * 0.9 + at0), 0.42 * J> }
        #end
        rotate y * 25
        translate <(T - at0) * speed, high + 0.1 * sin(T * 0.13), deep>
        Surface(rgb 0.8, 0)
    }
#end

#declare Fireplace = union {
    #for (I, 0, 4)
        cylinder { <-0.5, 0.1, 0>, <0.5, 0.2, 0>, 0.07 rotate y * 72 * I Surface(rgb <0.16, 0.09, 0.05>, 0) }
    #end
    #if (!Depth)
        // Tongues that live for 9 frames, puffs that live for 48.
        #for (I, 0, 13)
            #local number = floor((T + 9 * Chance(430 + I)) / 9) * 17 + I * 5;
            #local age = mod(T + 9 * Chance(430 + I), 9) / 9;
            disc { 0, z, 1
                Veil(pigment { spherical color_map { [0 rgbt <Level, 0.3 * Level, 0.05 * Level, 1>] [0.5 rgbt <2.2, 0.8, 0.1, 0.5> * <Level, Level, Level, 1>]
                                                     [1 rgbt <3, 2, 0.6, 0.2> * <Level, Level, Level, 1>] } })
                no_shadow
                scale <0.16, 0.34, 1> * (1.2 - age)
                translate <(Chance(number) - 0.5) * 0.6 + 0.15 * age, 0.25 + 0.9 * age, -0.02 * I - 0.1> }
        #end
        #for (I, 0, 10)
            #local age = mod(T + 48 * I / 11, 48) / 48;
            disc { 0, z, 1
                Veil(pigment { spherical turbulence 0.25 color_map {
                    [0 rgbt <0.2 * Level, 0.18 * Level, 0.18 * Level, 1>]
                    [0.6 rgbt <0.2 * Level, 0.18 * Level, 0.18 * Level, 0.35 + 0.6 * age>]
                    [1 rgbt <0.2 * Level, 0.18 * Level, 0.18 * Level, 0.25 + 0.7 * age>] } })
                no_shadow
                scale 0.16 + 0.75 * age
                translate <1.7 * age * age + 0.15 * sin(I * 2), 0.8 + 2.6 * age, -0.3 - 0.01 * I> }
        #end
    #end
    translate <-0.8, 0.06, -4.1>
}
#if (Dusk)
    Lamp(<-0.8, 0.6, -4.4>, <1.3, 0.6, 0.2> * (0.8 + 0.25 * sin(T * 0.7) + 0.3 * Chance(450 + floor(T))))
#end

#declare World = union {
    object { Ground }
    object { Clouds }
    #if (Field)
        object { Grass }
        #for (I, 0, 5)
            union {
                cylinder { 0, y * 2.2, 0.035 Surface(rgb 0.5, 0.1) }
                object { Cloth(1.0, 0.6, Hue(460 + I * 3), I * 2) translate y * 1.55 }
                translate <I * 1.9 - 4.6, 0, 0.8 + I * 0.8>
            }
        #end
    #else
        #for (I, 1, Count)
            #local deep = -0.5 + 20 * pow(Chance(500 + I * 7), 1.5);
            #local reach = 14 + deep * 2;
            #local speed = (0.015 + 0.05 * Chance(501 + I * 7)) * (Chance(502 + I * 7) < 0.5 ? -1 : 1);
            Boat(503 + I * 7, 0.6 + 0.3 * Chance(504 + I * 7),
                 <mod(reach * Chance(505 + I * 7) + speed * T + reach * 10, reach) - reach / 2, 0, deep>)
        #end
        #for (I, 0, 6)
            sphere { <2.3 + 0.9 * (Chance(520 + I * 3) - 0.5), 0, -0.4 + Chance(521 + I * 3)>, 0.25 + 0.3 * Chance(522 + I * 3)
                     scale <1, 0.9, 1> Surface(rgb <0.17, 0.15, 0.13>, 0.03) }
        #end
        object { Spray }
        union {
            cylinder { y * -1, y * 2.6, 0.04 Surface(rgb 0.5, 0.1) }
            object { Cloth(1.5, 0.8, Hue(540), 0) translate y * 1.75 }
            translate <-2.15, 0, -2.9>
        }
    #end
    Gull(10 + 30 * Chance(550), 0.16, 2.4, -2)
    Gull(36 + 30 * Chance(551), -0.12, 2.7, 1)
    Gull(20 + 30 * Chance(552), 0.45, 1.55, -6.4)
    #if (Dusk)
        object { Fireplace }
    #end
    #if (Bolt > 0.5)
        // Where it strikes is the same as long as it is there.
        #local from = <16 * Chance(560 + Struck) - 8, 11, 18>;
        union {
            #for (I, 1, 9)
                #local to = from + <1.6 * (Chance(570 + I * 2 + Struck * 31) - 0.5), -1.2, 0>;
                cylinder { from, to, 0.05 }
                #local from = to;
            #end
            Glow(<3, 3.2, 4>)
        }
    #end
    #if (!Gone)
        union {
            cone { 0, 0.5, y * 1.1, 0.15 }
            sphere { y * 1.25, 0.2 }
            scale PropSize
            rotate z * (Field ? 0 : 14 * sin(T * 0.24))
            translate <2.4 * Chance(70) - 1.4, (Field ? 0 : Swell(0, 0) - 0.05), -2.9>
            Surface(rgb <0.85, 0.2, 0.06>, 0.05)
        }
    #end
}
Show(World)
