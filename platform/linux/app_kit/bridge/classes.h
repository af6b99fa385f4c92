#pragma once

/* The classes that make CoreFoundation's objects Foundation objects. Never allocated: an object
 * gets its class as its first word, and is otherwise what CoreFoundation made it. */

#include <CoreFoundation/CoreFoundation.h>
#import <Foundation/Foundation.h>

/* Life and death stay CoreFoundation's. A class has no other way to share methods with classes of
 * another family than to repeat them. The zone is asked of memory in front of an object that only
 * Foundation's own have. */
#define VESK_COUNTED_BY_CORE_FOUNDATION                     \
  -(id)retain {                                             \
    return (id)CFRetain(self);                              \
  }                                                         \
  -(oneway void)release {                                   \
    CFRelease(self);                                        \
  }                                                         \
  -(NSUInteger)retainCount {                                \
    return static_cast<NSUInteger>(CFGetRetainCount(self)); \
  }                                                         \
  -(NSZone*)zone {                                          \
    return NSDefaultMallocZone();                           \
  }

@interface VeskCFString : NSString
@end
@interface VeskCFMutableString : NSMutableString
@end
@interface VeskCFData : NSData
@end
@interface VeskCFMutableData : NSMutableData
@end
@interface VeskCFNumber : NSNumber
@end
@interface VeskCFDate : NSDate
@end
@interface VeskCFArray : NSArray
@end
@interface VeskCFMutableArray : NSMutableArray
@end
@interface VeskCFDictionary : NSDictionary
@end
@interface VeskCFMutableDictionary : NSMutableDictionary
@end

/// Foundation's URLs and errors keep instance variables, for which these have no room: every
/// message goes to an object of Foundation's that says the same.
@interface VeskCFForwarding : NSObject
/// An autoreleased stand-in.
- (id)vesk_standIn;
@end
@interface VeskCFURL : VeskCFForwarding
@end
@interface VeskCFError : VeskCFForwarding
@end
