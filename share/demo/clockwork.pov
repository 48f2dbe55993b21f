// A clockwork: three wheels and a pendulum. Sixty frames make one round, after
// which the first frame follows the last one without a jump.
//
// Render one frame with   povray +Iclockwork.pov +Oframe.png +W320 +H180 Declare=Frame=1
#version 3.7;

#ifndef (Frame)
    #declare Frame = 1;
#end
#declare FramesARound = 60;
#declare Round = mod(Frame - 1, FramesARound) / FramesARound;

global_settings { assumed_gamma 1 max_trace_level 6 }

#declare Brass = texture {
    pigment { color rgb <0.78, 0.52, 0.20> }
    normal { bumps 0.06 scale 0.03 }
    finish { ambient 0.05 diffuse 0.45 specular 0.7 roughness 0.02 metallic reflection { 0.22 metallic } }
}
#declare Copper = texture {
    pigment { color rgb <0.72, 0.30, 0.16> }
    normal { bumps 0.06 scale 0.03 }
    finish { ambient 0.05 diffuse 0.45 specular 0.7 roughness 0.02 metallic reflection { 0.20 metallic } }
}
#declare Steel = texture {
    pigment { color rgb <0.55, 0.60, 0.66> }
    normal { bumps 0.04 scale 0.02 }
    finish { ambient 0.05 diffuse 0.40 specular 0.9 roughness 0.01 metallic reflection { 0.28 metallic } }
}
#declare Ruby = texture {
    pigment { color rgb <0.75, 0.03, 0.08> }
    finish { ambient 0.10 diffuse 0.6 specular 1 roughness 0.005 reflection 0.15 }
}

// The back plate: dark stained wood, fine enough in its grain to look like wood this small.
plane {
    -z, -1.2
    texture {
        pigment {
            wood turbulence 0.06 octaves 4
            color_map {
                [0.0 color rgb <0.16, 0.075, 0.035>]
                [0.7 color rgb <0.24, 0.12, 0.055>]
                [1.0 color rgb <0.10, 0.045, 0.02>]
            }
            rotate x * 86 rotate z * 8 scale 0.35
        }
        normal { granite 0.12 scale 0.4 }
        finish { ambient 0.06 diffuse 0.8 specular 0.15 roughness 0.05 }
    }
}

#declare Module = 0.2; // Pitch diameter of a wheel over its number of teeth.

#macro PitchRadius(teeth)
    (teeth * Module / 2)
#end

// A wheel around the origin, facing the camera: rim, teeth, spokes, hub and its ruby bearing.
#macro Wheel(teeth, spokes, metal)
    #local r = PitchRadius(teeth);
    union {
        difference {
            cylinder { <0, 0, -0.18>, <0, 0, 0.18>, r - 0.11 }
            cylinder { <0, 0, -0.20>, <0, 0, 0.20>, r * 0.74 }
        }
        #local i = 0;
        #while (i < teeth)
            prism {
                linear_sweep linear_spline -0.16, 0.16, 5,
                <-0.11, -0.14>, <0.11, -0.14>, <0.055, 0.12>, <-0.055, 0.12>, <-0.11, -0.14>
                rotate -x * 90
                scale <1, 1, -1>
                translate y * r
                rotate z * (i * 360 / teeth)
            }
            #local i = i + 1;
        #end
        #local i = 0;
        #while (i < spokes)
            cone { <0, r * 0.12, 0>, 0.13, <0, r * 0.80, 0>, 0.09 rotate z * (i * 360 / spokes) }
            #local i = i + 1;
        #end
        torus { r * 0.84, 0.045 rotate x * 90 translate -z * 0.18 }
        cylinder { <0, 0, -0.26>, <0, 0, 0.26>, r * 0.17 + 0.06 }
        sphere { <0, 0, -0.26>, 0.11 texture { Ruby } }
        texture { metal }
    }
#end

// The train. A round turns each wheel by twelve teeth, after which it looks the same again (24, 12
// and 18 teeth; 6, 4 and 6 spokes).
#declare GreatTeeth = 24;
#declare PinionTeeth = 12;
#declare ThirdTeeth = 18;
#declare TeethARound = 12;

#declare GreatCentre = <-2.35, 0.35, 0>;
#declare PinionAngle = radians(24);
#declare ThirdAngle = radians(-30);
#declare PinionCentre = GreatCentre
    + (PitchRadius(GreatTeeth) + PitchRadius(PinionTeeth)) * <cos(PinionAngle), sin(PinionAngle), 0>;
#declare ThirdCentre = PinionCentre
    + (PitchRadius(PinionTeeth) + PitchRadius(ThirdTeeth)) * <cos(ThirdAngle), sin(ThirdAngle), 0>;

// How far a driven wheel is turned so that a gap of it stands where its driver has a tooth:
// `towards` points from the driver to it, `turn` and `turnTeeth` are the driver's.
#macro Meshed(turn, turnTeeth, teeth, towards)
    (degrees(towards) + 90 - 180 / teeth
        - (turn + 90 - degrees(towards)) * turnTeeth / teeth)
#end

#declare GreatTurn = Round * TeethARound * 360 / GreatTeeth;
#declare PinionTurn = Meshed(GreatTurn, GreatTeeth, PinionTeeth, PinionAngle);
#declare ThirdTurn = Meshed(PinionTurn, PinionTeeth, ThirdTeeth, ThirdAngle);

object { Wheel(GreatTeeth, 6, Brass) rotate z * GreatTurn translate GreatCentre }
object { Wheel(PinionTeeth, 4, Steel) rotate z * PinionTurn translate PinionCentre }
object { Wheel(ThirdTeeth, 6, Copper) rotate z * ThirdTurn translate ThirdCentre }

// The pendulum swings twice a round before the great wheel.
#declare Swing = 20 * sin(Round * 4 * pi);
union {
    cylinder { <0, 0, 0>, <0, -3.6, 0>, 0.06 texture { Steel } }
    sphere { 0, 0.5 scale <1, 1, 0.4> translate -y * 3.7 texture { Brass } }
    torus { 0.52, 0.05 rotate x * 90 translate -y * 3.7 texture { Copper } }
    sphere { 0, 0.12 texture { Ruby } }
    rotate z * Swing
    translate <0.35, 2.35, -0.75>
}

// Screws hold the plate.
#macro Screw(where, slot)
    union {
        difference {
            sphere { 0, 0.26 scale <1, 1, 0.5> }
            box { <-0.3, -0.035, -0.3>, <0.3, 0.035, -0.06> rotate z * slot }
        }
        texture { Steel }
        translate where + z * 1.15
    }
#end
Screw(<-4.9, 2.55, 0>, 20)
Screw(<4.9, 2.55, 0>, 75)
Screw(<-4.9, -2.55, 0>, 130)
Screw(<4.9, -2.55, 0>, 48)

camera {
    location <0.9, -0.6, -9.6>
    look_at <0.12, 0.2, 0>
    right x * image_width / image_height
    angle 63
}

light_source { <-7, 8, -9> color rgb <1.0, 0.93, 0.80> * 1.15 }
light_source { <9, 1, -7> color rgb <0.30, 0.42, 0.70> * 0.6 shadowless }
sky_sphere {
    pigment {
        gradient y
        color_map { [0 color rgb <0.12, 0.10, 0.10>] [1 color rgb <0.85, 0.82, 0.78>] }
        scale 2 translate -1
    }
}
