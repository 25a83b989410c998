// Clang registers protocols that no class of a file adopts by a category of this class, which GCC's
// runtime does not have; one in the process serves the bundle too.
#import <Foundation/Foundation.h>

@interface __ObjC_Protocol_Holder_Ugly_Hack : NSObject
@end

@implementation __ObjC_Protocol_Holder_Ugly_Hack
@end
