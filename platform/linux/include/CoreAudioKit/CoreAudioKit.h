#pragma once

#import <CoreAudioKit/AUGenericView.h>
#import <CoreAudioKit/AUViewController.h>
