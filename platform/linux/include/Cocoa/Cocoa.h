#pragma once
#pragma clang system_header

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>
