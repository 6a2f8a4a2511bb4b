// The same job on GNUstep's Foundation, written the straightforward way. peer_foundation FILE

#import <Foundation/Foundation.h>

static NSString *titleOf(NSDictionary *node) {
  NSString *title = [node objectForKey:@"Title"];
  return title ? title : [[node objectForKey:@"URIDictionary"] objectForKey:@"title"];
}

static void setTitle(NSMutableDictionary *node, NSString *title) {
  NSMutableDictionary *uri = [node objectForKey:@"URIDictionary"];
  if (uri) [uri setObject:title forKey:@"title"];
  else [node setObject:title forKey:@"Title"];
}

static BOOL isFaulty(NSMutableDictionary *node, NSMutableSet *addresses) {
  NSString *kind = [node objectForKey:@"WebBookmarkType"];
  if ([kind isEqualToString:@"WebBookmarkTypeList"]) {
    NSMutableArray *children = [node objectForKey:@"Children"];
    NSMutableSet *titles = [NSMutableSet set];
    NSInteger i;
    for (i = (NSInteger)[children count] - 1; i >= 0; i--) {
      NSMutableDictionary *child = [children objectAtIndex:i];
      if (isFaulty(child, addresses)) {
        [children removeObjectAtIndex:i];
        continue;
      }
      NSString *title = titleOf(child);
      if (!title) {
        NSString *address = [child objectForKey:@"URLString"];
        setTitle(child, address ? address : @"No Name");
        continue;
      }
      NSUInteger number = 2;
      while ([titles containsObject:title]) title = [NSString stringWithFormat:@"%@ %lu", title, (unsigned long)number++];
      [titles addObject:title];
      setTitle(child, title);
    }
    return [children count] == 0;
  }
  if (![kind isEqualToString:@"WebBookmarkTypeLeaf"]) return NO;
  NSString *address = [node objectForKey:@"URLString"];
  if ([[address stringByTrimmingCharactersInSet:[NSCharacterSet whitespaceCharacterSet]] length] == 0) return YES;
  if ([addresses containsObject:address]) return YES;
  [addresses addObject:address];
  return NO;
}

static int rankOf(NSDictionary *node) {
  NSString *kind = [node objectForKey:@"WebBookmarkType"];
  if ([kind isEqualToString:@"WebBookmarkTypeProxy"]) return 0;
  if ([kind isEqualToString:@"WebBookmarkTypeList"]) return 1;
  return [kind isEqualToString:@"WebBookmarkTypeLeaf"] ? 2 : 3;
}

static NSInteger compare(id a, id b, void *context) {
  int first = rankOf(a), second = rankOf(b);
  if (first != second) return first < second ? NSOrderedAscending : NSOrderedDescending;
  return [titleOf(a) localizedCaseInsensitiveCompare:titleOf(b)];
}

static BOOL order(NSMutableDictionary *folder) {
  NSMutableArray *children = [folder objectForKey:@"Children"];
  BOOL moved = NO;
  NSUInteger i;
  if (!children) return NO;
  for (i = 0; i < [children count]; i++) moved |= order([children objectAtIndex:i]);
  if ([titleOf(folder) isEqualToString:@"BookmarksBar"]) return moved;
  NSArray *sorted = [children sortedArrayUsingFunction:compare context:NULL];
  if (![sorted isEqualToArray:children]) {
    [children setArray:sorted];
    moved = YES;
  }
  return moved;
}

int main(int argc, char **argv) {
  NSAutoreleasePool *pool = [NSAutoreleasePool new];
  NSString *path = [NSString stringWithUTF8String:argv[argc - 1]];
  NSString *problem = nil;
  NSPropertyListFormat format;
  NSMutableDictionary *root =
      [NSPropertyListSerialization propertyListFromData:[NSData dataWithContentsOfFile:path]
                                       mutabilityOption:NSPropertyListMutableContainersAndLeaves
                                                 format:&format
                                       errorDescription:&problem];
  if (!root) return 1;
  BOOL moved = NO;
  for (NSMutableDictionary *child in [root objectForKey:@"Children"]) {
    NSString *title = [child objectForKey:@"Title"];
    if (![title isEqualToString:@"BookmarksBar"] && ![title isEqualToString:@"BookmarksMenu"]) continue;
    (void)isFaulty(child, [NSMutableSet set]);
    moved |= order(child);
  }
  if (moved) {
    NSData *data = [NSPropertyListSerialization dataFromPropertyList:root
                                                              format:NSPropertyListBinaryFormat_v1_0
                                                    errorDescription:&problem];
    if (![data writeToFile:path atomically:YES]) return 1;
  }
  [pool release];
  return 0;
}
